// What the tool says of itself: lists, help, the manual page, completion of words.
// All of it comes from the tables of operations and the options.
#pragma once

#include <iosfwd>
#include <string>

namespace CLI {
class App;
}

namespace tool {

bool isCommand(const std::string &word);
// A line or two for each.
std::string usageOfCommands();

// All operations by families.
void writeList(std::ostream &out);
// An operation or another name of one, with its parameters and an example; or a command.
void writeHelp(std::ostream &out, const std::string &name);
void writeManual(std::ostream &out, const CLI::App &options, const std::string &version);
// For "bash" or "zsh".
void writeCompletion(std::ostream &out, const CLI::App &options, const std::string &shell);

} // namespace tool
