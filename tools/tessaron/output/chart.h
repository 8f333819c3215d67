#pragma once
// What the verbs that give a chart have in common.

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "cli/context.h"
#include "cli/options.h"
#include "graphics/simple_chart.h"

namespace tessaron::tool {

/// How a chart is given, and where.
struct ChartForm {
  bool groupRest = true;
  Form form = Form::Table;
  std::string output;
  std::string size = "600x400";  ///< of the picture
};

/// Adds the flags of the forms, --output and --size.
void addChartForm(CLI::App& verb, ChartForm& form);

/// Merges and sorts the items and gives the chart. `heading` is what the items are, `unit` what
/// their values are measured in; `about` are the first members of the JSON document. Fails with
/// kFailed when there are none, and for a picture of an item below zero or of values that add up to
/// nothing; other forms leave the shares out then.
void giveChart(const std::vector<scdata>& items, const std::string& heading,
               const std::string& unit, nlohmann::ordered_json about, const ChartForm& form,
               const Context& context);

}  // namespace tessaron::tool
