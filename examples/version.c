/* Which library this program runs with. */
#include <stdio.h>
#include <zylqx.h>

int main(void) {
    const ZylLibVersion *version = zylGetLibVersion();
    printf("zylqx %d.%d.%d, %s\n", version->majorVersion, version->minorVersion,
           version->buildNumber, version->versionText);
    return 0;
}
