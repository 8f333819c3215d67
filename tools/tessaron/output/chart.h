#pragma once
// Shared code of the verbs that make charts.

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "cli/context.h"
#include "cli/options.h"
#include "graphics/simple_chart.h"

namespace tessaron::tool {

/// The form and target of a chart.
struct ChartForm {
  bool groupRest = true;
  Form form = Form::Table;
  std::string output;
  std::string size = "600x400";  ///< of the picture
};

/// Adds the flags of the forms, --output and --size.
void addChartForm(CLI::App& verb, ChartForm& form);

/// Merges and sorts the items and writes the chart. `heading` names the items, `unit` the unit of
/// their values; `about` holds the first members of the JSON document. Fails with kFailed when
/// there are no items, and when a picture would show a negative value or a sum of zero; other forms
/// leave the shares out then.
void giveChart(const std::vector<scdata>& items, const std::string& heading,
               const std::string& unit, nlohmann::ordered_json about, const ChartForm& form,
               const Context& context);

}  // namespace tessaron::tool
