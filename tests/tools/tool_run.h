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

/// What the tool finds around it.
struct Surroundings {
    std::vector<std::string> environment; ///< added to this program's, less the layer's variables
    std::string input = "/dev/null";      ///< what standard input is
    std::string output;                   ///< what standard output is; "" to collect it
};

/// Runs the tool to its end in the root directory.
ToolRun runTool(const std::vector<std::string>& arguments, const Surroundings& around = {});

/// The lines of a text.
std::vector<std::string> linesOf(const std::string& text);

/// What the tool has to complain of; a sanitizer's own lines begin with two signs.
std::string complaints(const ToolRun& run);

/// Whether the text is one JSON value by the rules, as python3 knows them.
bool isJson(const std::string& text);

#endif
