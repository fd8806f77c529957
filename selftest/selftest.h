// The self-test: seeded random calls of every operation, one checksum for each,
// equal on every instruction level, compiler, system, word size and byte order.
#ifndef ZYLQX_SELFTEST_SELFTEST_H
#define ZYLQX_SELFTEST_SELFTEST_H

namespace selftest {

// Runs it with the arguments of a command line, the program's name first; returns
// its exit code: 0 when all checksums are equal, 1 when some differ, 2 for
// arguments that it does not know.
int run(int argc, const char *const *argv);

} // namespace selftest

#endif
