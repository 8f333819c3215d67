#pragma once
// What the verbs that give a chart have in common.

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "graphics/simple_chart.h"

namespace CLI {
class App;
}

namespace tessaron::tool {

struct Context;

/// How a chart is given: as a table for people unless one of these is asked for.
struct ChartForm {
  bool groupRest = true;
  bool csv = false;
  bool json = false;
  std::string png;  ///< where the picture goes, "-" for standard output; empty for none
  std::string size = "600x400";
};

/// Adds --csv, --json, --png and --size.
void addChartForm(CLI::App& verb, ChartForm& form);

/// Merges and sorts the items and gives the chart. `heading` is what the items are, `unit` what
/// their values are measured in; `about` are the first members of the JSON document. Fails with
/// kFailed when the values add up to nothing.
void giveChart(const std::vector<scdata>& items, const std::string& heading,
               const std::string& unit, nlohmann::ordered_json about, const ChartForm& form,
               const Context& context);

}  // namespace tessaron::tool
