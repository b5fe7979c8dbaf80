/// \file
/// Runs the tool the way a maintainer does.
#ifndef GPAL_TESTS_TOOLS_TOOL_RUN_H
#define GPAL_TESTS_TOOLS_TOOL_RUN_H

#include <string>
#include <vector>

struct ToolRun {
    int status; ///< exit status; minus the signal that killed it
    std::string output;
    std::string errors;
};

/// Runs the tool to its end in the directory \p directory, with \p environment added to this
/// program's own, from which the layer's variables are taken.
ToolRun runTool(const std::vector<std::string>& arguments,
                const std::vector<std::string>& environment = {},
                const std::string& directory = "/");

#endif
