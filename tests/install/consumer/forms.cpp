// What a person types, to a row of a chip.
#include <forms/Entries.h>
#include <iostream>

int main() {
    auto const row =
        Kor::Forms::encodeEntry(Kor::Forms::parseEntry("AradLifAcMp vsi=100"), Hardware::jerichoChip8);
    std::cout << Kor::Forms::wordsText(row.words) << '\n';
}
