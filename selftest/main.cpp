#include "selftest/selftest.h"

int main(int argc, char **argv) {
    return selftest::run(argc, argv);
}
