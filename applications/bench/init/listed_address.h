#pragma once

#include <QString>

#include <optional>

// An address as a list writes it.
struct ListedAddress
{
    int number = 0;
    int count = 1; // more for a range
    bool isHexadecimal = false;
    // "4x0107": the digit of the table stands apart; 0 without one.
    int tableDigit = 0;
    bool hasTableDigit = false;
};

// "107", "0x6B", "6Bh", "4x0107", "107-110", "107..110"; what it is instead, in words, for anything else.
std::optional<ListedAddress> listedAddress(const QString& text, bool isHexadecimal, QString* why);

// The table's digit of a number in 4xxxx notation of five or six digits (0, 1, 3 or 4); nothing for another
// one.
std::optional<int> digitOfNotation(int number);
// The same number without it.
int withoutDigit(int number);
