/*
 * The zelut subcommands. Each takes the arguments after its name, returns
 * the exit status on success (0) and throws ToolError otherwise.
 */
#ifndef ZELUT_COMMANDS_H
#define ZELUT_COMMANDS_H

#include <string>
#include <vector>

using Args = std::vector<std::string>;

int runConvert(const Args& args);
int runInfo(const Args& args);
int runApply(const Args& args);
int runBench(const Args& args);
int runDemo(const Args& args);

#endif
