/* Keeps the first report of a call for JavaScript, which reads it from memory. */
#include <emscripten.h>
#include <string.h>

#include <zylqx.h>

static struct {
    ZylStatus status;
    char function[64], text[1024];
} first;

static void keep(char *to, size_t size, const char *text) {
    const size_t length = strnlen(text, size - 1);
    memcpy(to, text, length);
    to[length] = '\0';
}

/* Reports of the library have all of their texts. */
static ZylStatus ZYL_CALL keepReport(ZylStatus status, const char *function, const char *text,
                                     const char *file, int line) {
    (void)file;
    (void)line;
    const int trace = status == ZYL_StsBackTrace || status == ZYL_StsAutoTrace;
    if (first.status != ZYL_StsOk || trace) return status;
    first.status = status;
    keep(first.function, sizeof first.function, function);
    keep(first.text, sizeof first.text, text);
    return status;
}

/* Before a call: forgets the one before it. */
EMSCRIPTEN_KEEPALIVE void beginCall(void) {
    first.status = ZYL_StsOk;
    zylSetErrStatus(ZYL_StsOk);
    zylSetErrMode(ZYL_ErrModeParent);
    zylRedirectError(keepReport);
}

EMSCRIPTEN_KEEPALIVE ZylStatus reportStatus(void) {
    return first.status;
}

EMSCRIPTEN_KEEPALIVE const char *reportFunction(void) {
    return first.function;
}

EMSCRIPTEN_KEEPALIVE const char *reportText(void) {
    return first.text;
}
