// The locale-free scans against glibc's sscanf in the "C" locale: same result, same value.
#include "base/Numbers.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <locale.h>
#include <string>

namespace
{

locale_t CLocale()
{
    static const locale_t c = newlocale(LC_ALL_MASK, "C", nullptr);
    return c;
}

template <class T> int Oracle(const std::string &text, const char *format, T &value)
{
    const locale_t previous = uselocale(CLocale());
    const int r = std::sscanf(text.c_str(), format, &value);
    uselocale(previous);
    return r;
}

bool Same(double a, double b)
{
    if (std::isnan(a) || std::isnan(b))
        return std::isnan(a) && std::isnan(b) && std::signbit(a) == std::signbit(b);
    return a == b && std::signbit(a) == std::signbit(b);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    // Fields never hold a NUL: the line is a C string.
    const std::size_t length = strnlen(reinterpret_cast<const char *>(data), size);
    const std::string text(reinterpret_cast<const char *>(data), length);

    double want = 1.25, got = 1.25;
    if (ScanDouble(text, got) != Oracle(text, "%lf", want) || !Same(got, want))
        __builtin_trap();
    int wantInt = 3;
    std::int32_t gotInt = 3;
    if (ScanInt(text, gotInt) != Oracle(text, "%d", wantInt) || gotInt != wantInt)
        __builtin_trap();
    unsigned wantHex = 5;
    std::uint32_t gotHex = 5;
    if (ScanHex(text, gotHex) != Oracle(text, "%X", wantHex) || gotHex != wantHex)
        __builtin_trap();
    return 0;
}
