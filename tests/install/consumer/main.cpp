#include "runtime/Contract.h"

#include <cstdlib>
#include <iostream>

int main() {
    std::atexit([] { std::cout << "contract checks: " << (Kor::contractChecks ? "on" : "off") << '\n'; });
    Kor::require(&Kor::contractBroken != nullptr, [] { return Kor::Breach{"consumer", "not linked"}; });
}
