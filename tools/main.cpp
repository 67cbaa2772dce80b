#include "tools/Commands.h"

#include <cstdlib>
#include <iostream>
#include <unistd.h>

int main(int count, char** arguments) {
    std::ios::sync_with_stdio(false);
    bool const plain = std::getenv("NO_COLOR") != nullptr;
    return tool::run({arguments + 1, arguments + count},
                     {std::cin, std::cout, std::cerr, !plain && isatty(STDOUT_FILENO) == 1,
                      !plain && isatty(STDERR_FILENO) == 1, 0, STDERR_FILENO});
}
