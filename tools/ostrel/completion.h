// Shell completion, made from the tree of commands.

#ifndef OSTREL_TOOLS_OSTREL_COMPLETION_H
#define OSTREL_TOOLS_OSTREL_COMPLETION_H

#include <CLI/CLI.hpp>
#include <string>

namespace ostrel::tools::cli {

std::string bashCompletion(CLI::App& app);
std::string zshCompletion(CLI::App& app);

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_COMPLETION_H
