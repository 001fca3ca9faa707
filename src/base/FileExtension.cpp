#include "base/FileExtension.h"

#include <algorithm>

namespace
{

bool IsAsciiLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool IsAsciiDigit(char c)
{
    return c >= '0' && c <= '9';
}

} // namespace

std::string WithDefaultExtension(std::string_view path, std::string_view extension)
{
    const std::size_t slash = path.rfind('/');
    const std::string_view name = slash == std::string_view::npos ? path : path.substr(slash + 1);
    if (name.empty())
        return std::string(path);
    std::string result(path);
    const std::size_t dot = name.rfind('.');
    if (dot == name.size() - 1) {
        // "drive1." : the dot was typed, the extension not.
        result.pop_back();
    } else if (dot != std::string_view::npos && dot > 0) {
        const std::string_view suffix = name.substr(dot + 1);
        // Numbers after a dot are part of the name ("drive 12.5"), not a type.
        if (std::all_of(suffix.begin(), suffix.end(),
                        [](char c) { return IsAsciiLetter(c) || IsAsciiDigit(c); })
            && std::any_of(suffix.begin(), suffix.end(), IsAsciiLetter))
            return result;
    }
    result.append(1, '.').append(extension);
    return result;
}
