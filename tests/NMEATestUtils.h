#pragma once

#include <cstdio>
#include <string>
#include <string_view>

/// "$" + body + "*HH\r\n" with the right checksum.
inline std::string Sentence(std::string_view body)
{
    unsigned sum = 0;
    for (const char c : body)
        sum ^= static_cast<unsigned char>(c);
    char tail[8];
    std::snprintf(tail, sizeof tail, "*%02X\r\n", sum);
    return "$" + std::string(body) + tail;
}
