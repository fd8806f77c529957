// The instruction levels that this processor and build can run at. The only part
// of the self-test that reaches behind zylqx.h, for what cannot be asked through
// it; so it is linked with the static library.
#ifndef ZYLQX_SELFTEST_LEVELS_H
#define ZYLQX_SELFTEST_LEVELS_H

namespace selftest {

int levelCount();
const char *levelName(int level);
// For all calls that follow; the best one is used from the start.
void useLevel(int level);

} // namespace selftest

#endif
