#include "command.h"

#include "selftest/selftest.h"

#include <string_view>

int main(int argc, char **argv) {
    if (argc > 1 && std::string_view(argv[1]) == "selftest") {
        return selftest::run(argc - 1, argv + 1);
    }
    return tool::runCommand(argc, argv);
}
