#pragma once

#include <cctype>
#include <string>
#include <string_view>

// Menu and button texts mark their keyboard letter with '&'; "&&" is a literal ampersand.

/// The letter after the marking '&', lower case; 0 when the text has none.
inline char MnemonicOf(std::string_view text)
{
    for (std::size_t i = 0; i + 1 < text.size(); ++i) {
        if (text[i] != '&')
            continue;
        if (text[i + 1] != '&')
            return static_cast<char>(std::tolower(static_cast<unsigned char>(text[i + 1])));
        ++i;
    }
    return 0;
}

/// The text as it reads, without the marking '&'.
inline std::string StripMnemonic(std::string_view text)
{
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '&' && i + 1 < text.size())
            ++i;
        plain += text[i];
    }
    return plain;
}

/// `text` with a keyboard letter marked, chosen from the letters and digits `taken` does not hold:
/// a word's first letter if one is free, else any; `taken` then holds it too. A text that has
/// its letter already keeps it (and it is taken); one with no free letter stays unmarked.
inline std::string AddMnemonic(std::string_view text, std::string &taken)
{
    const auto key = [](char c) {
        return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    };
    // Only ASCII letters and digits: the bytes of other characters are parts of UTF-8 sequences.
    const auto usable = [&](std::size_t i) {
        const auto c = static_cast<unsigned char>(text[i]);
        return c < 0x80 && std::isalnum(c) && text[i] != '&'
               && taken.find(key(text[i])) == std::string::npos && (i == 0 || text[i - 1] != '&');
    };
    if (const char existing = MnemonicOf(text)) {
        taken += existing;
        return std::string(text);
    }
    std::size_t chosen = std::string_view::npos;
    for (std::size_t i = 0; i < text.size() && chosen == std::string_view::npos; ++i) {
        const bool wordStart =
            i == 0 || text[i - 1] == ' ' || text[i - 1] == '-' || text[i - 1] == '/';
        if (wordStart && usable(i))
            chosen = i;
    }
    for (std::size_t i = 0; i < text.size() && chosen == std::string_view::npos; ++i)
        if (usable(i))
            chosen = i;
    if (chosen == std::string_view::npos)
        return std::string(text);
    taken += key(text[chosen]);
    std::string marked(text);
    marked.insert(chosen, 1, '&');
    return marked;
}
