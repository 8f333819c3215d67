#pragma once
// Each function adds one verb with its options to the command line; when that verb is chosen, it
// sets `context.run`. Both arguments must outlive the run.

#include <CLI/CLI.hpp>

#include "cli/context.h"

namespace tessaron::tool {

void addUse(CLI::App& app, Context& context);
void addImport(CLI::App& app, Context& context);
void addAdd(CLI::App& app, Context& context);
void addList(CLI::App& app, Context& context);
void addShow(CLI::App& app, Context& context);
void addSet(CLI::App& app, Context& context);
void addEdit(CLI::App& app, Context& context);
void addRemove(CLI::App& app, Context& context);
void addDue(CLI::App& app, Context& context);
void addExport(CLI::App& app, Context& context);
void addHelp(CLI::App& app, Context& context);
void addMerge(CLI::App& app, Context& context);
void addDuplicates(CLI::App& app, Context& context);
void addRecover(CLI::App& app, Context& context);
void addCart(CLI::App& app, Context& context);
void addCache(CLI::App& app, Context& context);
void addCovers(CLI::App& app, Context& context);
void addSettings(CLI::App& app, Context& context);
void addStats(CLI::App& app, Context& context);
void addChart(CLI::App& app, Context& context);
void addSortForm(CLI::App& app, Context& context);
void addSort(CLI::App& app, Context& context);
void addCodec(CLI::App& app, Context& context);
void addScan(CLI::App& app, Context& context);
void addTheme(CLI::App& app, Context& context);
void addLend(CLI::App& app, Context& context);
void addBorrow(CLI::App& app, Context& context);
void addReturn(CLI::App& app, Context& context);
void addLoans(CLI::App& app, Context& context);
void addLink(CLI::App& app, Context& context);
void addLinks(CLI::App& app, Context& context);
void addRelink(CLI::App& app, Context& context);
void addLog(CLI::App& app, Context& context);
void addUndo(CLI::App& app, Context& context);
void addServe(CLI::App& app, Context& context);

}  // namespace tessaron::tool
