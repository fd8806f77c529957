// The command line of zyl.
#pragma once

namespace tool {

// Does what the words ask for and tells in one line of what goes wrong. Gives the exit
// code.
int runCommand(int argc, char **argv);

} // namespace tool
