#include "Numbers.h"

#include <clocale>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <locale.h>

namespace
{

locale_t CLocale()
{
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
}

// isspace() of the C locale; the scans must not follow the user's locale either.
constexpr bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

constexpr bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

constexpr char Lower(char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c;
}

constexpr int HexValue(char c)
{
    if (IsDigit(c))
        return c - '0';
    c = Lower(c);
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

// Exact powers of ten: every one up to 1e22 is a double without rounding.
constexpr double kPow10[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                             1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

bool GeneralDecimal(std::string_view text, double &value)
{
    char small[128];
    std::string large;
    const char *buffer = small;
    if (text.size() < sizeof small) {
        text.copy(small, text.size());
        small[text.size()] = '\0';
    } else {
        large.assign(text);
        buffer = large.c_str();
    }
    char *end = nullptr;
    const double v = strtod_l(buffer, &end, CLocale());
    if (end == buffer)
        return false;
    value = v;
    return true;
}

// Case-insensitive match of `word` at text[i]; scanf commits to a word once its first letter
// matched, so a partial word is a failed conversion, not a shorter number.
bool MatchWord(std::string_view text, std::size_t i, std::string_view word)
{
    if (text.size() - i < word.size())
        return false;
    for (std::size_t k = 0; k < word.size(); ++k)
        if (Lower(text[i + k]) != word[k])
            return false;
    return true;
}

} // namespace

int ScanDouble(std::string_view text, double &value)
{
    const std::size_t n = text.size();
    std::size_t i = 0;
    while (i < n && IsBlank(text[i]))
        ++i;
    if (i == n)
        return kScanEnd;

    const std::size_t start = i;
    bool negative = false;
    if (text[i] == '-' || text[i] == '+') {
        negative = text[i] == '-';
        if (++i == n)
            return 0;
    }

    const char first = Lower(text[i]);
    if (first == 'n') {
        if (!MatchWord(text, i, "nan"))
            return 0;
        value = negative ? -std::numeric_limits<double>::quiet_NaN()
                         : std::numeric_limits<double>::quiet_NaN();
        return 1;
    }
    if (first == 'i') {
        if (!MatchWord(text, i, "inf"))
            return 0;
        i += 3;
        if (i < n && Lower(text[i]) == 'i' && !MatchWord(text, i, "inity"))
            return 0;
        value = negative ? -std::numeric_limits<double>::infinity()
                         : std::numeric_limits<double>::infinity();
        return 1;
    }

    // Plain "ddd[.ddd]", nearly every NMEA number, in one pass. With at most 2^53 as mantissa and
    // at most 22 fraction digits, one division of two exact doubles is correctly rounded, so the
    // result equals strtod's. Anything else takes the general route below.
    {
        std::uint64_t mantissa = 0;
        int significant = 0;
        int fraction = 0;
        bool dot = false;
        bool digit = false;
        std::size_t j = i;
        for (; j < n; ++j) {
            const char c = text[j];
            if (IsDigit(c)) {
                digit = true;
                fraction += dot;
                if (mantissa != 0 || c != '0') {
                    ++significant;
                    mantissa = mantissa * 10 + static_cast<unsigned>(c - '0');
                }
            } else if (c == '.' && !dot) {
                dot = true;
            } else {
                break;
            }
        }
        const char stop = j < n ? Lower(text[j]) : '\0';
        const bool hexPrefix = stop == 'x' && j == i + 1 && text[i] == '0';
        if (!(digit && stop == 'e') && !hexPrefix) {
            if (!digit)
                return 0;
            if (significant <= 19 && mantissa <= (std::uint64_t{1} << 53) && fraction <= 22) {
                const double v = static_cast<double>(mantissa) / kPow10[fraction];
                value = negative ? -v : v;
                return 1;
            }
        }
    }

    // The characters scanf takes into its number buffer before it hands that to strtod.
    const std::size_t digitsStart = i;
    bool hex = false;
    bool gotDigit = false;
    bool gotDot = false;
    bool gotExponent = false;
    char exponentChar = 'e';
    if (text[i] == '0') {
        ++i;
        if (i < n && Lower(text[i]) == 'x') {
            hex = true;
            exponentChar = 'p';
            ++i;
        } else {
            gotDigit = true;
        }
    }
    for (; i < n; ++i) {
        const char c = text[i];
        if (IsDigit(c) || (!gotExponent && hex && HexValue(c) >= 0)) {
            gotDigit = true;
        } else if (gotExponent && Lower(text[i - 1]) == exponentChar && (c == '-' || c == '+')) {
        } else if (gotDigit && !gotExponent && Lower(c) == exponentChar) {
            gotExponent = gotDot = true;
        } else if (!gotDot && c == '.') {
            gotDot = true;
        } else {
            break;
        }
    }
    if (i == digitsStart || (hex && i == digitsStart + 2))
        return 0;

    if (!hex && !gotExponent && !gotDigit)
        return 0;
    return GeneralDecimal(text.substr(start, i - start), value) ? 1 : 0;
}

namespace
{

// The digits scanf takes for an integer conversion, as a magnitude that sticks at 2^64-1.
struct IntegerText {
    int result = 0; // 1, 0 or kScanEnd
    bool negative = false;
    bool overflow = false;
    std::uint64_t magnitude = 0;
    std::size_t end = 0; // index after the last character read
};

IntegerText ScanInteger(std::string_view text, bool hex)
{
    IntegerText r;
    const std::size_t n = text.size();
    std::size_t i = 0;
    while (i < n && IsBlank(text[i]))
        ++i;
    if (i == n) {
        r.result = kScanEnd;
        return r;
    }
    if (text[i] == '-' || text[i] == '+') {
        r.negative = text[i] == '-';
        if (++i == n)
            return r;
    }
    const unsigned base = hex ? 16 : 10;
    bool any = false;
    if (hex && text[i] == '0') {
        any = true;
        ++i;
        if (i < n && Lower(text[i]) == 'x')
            ++i;
    }
    for (; i < n; ++i) {
        const int d = hex ? HexValue(text[i]) : (IsDigit(text[i]) ? text[i] - '0' : -1);
        if (d < 0)
            break;
        any = true;
        std::uint64_t next;
        if (__builtin_mul_overflow(r.magnitude, base, &next)
            || __builtin_add_overflow(next, static_cast<unsigned>(d), &next))
            r.overflow = true;
        else
            r.magnitude = next;
    }
    r.result = any ? 1 : 0;
    r.end = i;
    return r;
}

// strtol's clamping to a 64-bit long, then the cut to int that scanf's "%d" makes.
std::int32_t SignedValue(const IntegerText &t)
{
    constexpr std::uint64_t maxPositive = std::numeric_limits<std::int64_t>::max();
    std::int64_t v;
    if (!t.negative)
        v = (t.overflow || t.magnitude > maxPositive) ? std::numeric_limits<std::int64_t>::max()
                                                      : static_cast<std::int64_t>(t.magnitude);
    else if (t.overflow || t.magnitude > maxPositive + 1)
        v = std::numeric_limits<std::int64_t>::min();
    else
        v = static_cast<std::int64_t>(0 - t.magnitude);
    return static_cast<std::int32_t>(v);
}

} // namespace

int ScanInt(std::string_view text, std::int32_t &value)
{
    // Short fields (satellite numbers, angles) without overflow checks: 18 digits always fit.
    const char *p = text.data();
    const char *const end = p + text.size();
    while (p < end && IsBlank(*p))
        ++p;
    if (p == end)
        return kScanEnd;
    const bool negative = *p == '-';
    if ((*p == '-' || *p == '+') && ++p == end)
        return 0;
    const char *const digits = p;
    std::uint64_t magnitude = 0;
    while (p < end && IsDigit(*p) && p - digits < 18)
        magnitude = magnitude * 10 + static_cast<unsigned>(*p++ - '0');
    if (p == digits)
        return 0;
    if (p == end || !IsDigit(*p)) {
        const auto v = static_cast<std::int64_t>(magnitude);
        value = static_cast<std::int32_t>(negative ? -v : v);
        return 1;
    }
    const IntegerText t = ScanInteger(text, false);
    if (t.result == 1)
        value = SignedValue(t);
    return t.result;
}

namespace
{

// strtoul: overflow gives ULONG_MAX whatever the sign; "-n" is the negation modulo 2^64.
std::uint32_t UnsignedValue(const IntegerText &t)
{
    const std::uint64_t v = t.overflow   ? std::numeric_limits<std::uint64_t>::max()
                            : t.negative ? 0 - t.magnitude
                                         : t.magnitude;
    return static_cast<std::uint32_t>(v);
}

} // namespace

int ScanUnsigned(std::string_view text, std::uint32_t &value, std::size_t *end)
{
    const IntegerText t = ScanInteger(text, false);
    if (t.result == 1) {
        value = UnsignedValue(t);
        if (end != nullptr)
            *end = t.end;
    }
    return t.result;
}

int ScanHex(std::string_view text, std::uint32_t &value)
{
    const IntegerText t = ScanInteger(text, true);
    if (t.result == 1)
        value = UnsignedValue(t);
    return t.result;
}

std::optional<double> SecondsOfDay(std::string_view hhmmss)
{
    if (hhmmss.size() < 6)
        return std::nullopt;
    const double hours = ToInt(hhmmss.substr(0, 2));
    const double minutes = ToInt(hhmmss.substr(2, 2));
    return (hours * 60 + minutes) * 60 + ToDouble(hhmmss.substr(4));
}

std::int32_t ToInt(std::string_view text)
{
    std::int32_t v = 0;
    ScanInt(text, v);
    return v;
}

double ToDouble(std::string_view text)
{
    double v = 0.0;
    ScanDouble(text, v);
    return v;
}

std::string FormatC(const char *format, ...)
{
    const locale_t previous = uselocale(CLocale());
    char small[256];
    va_list args;
    va_start(args, format);
    const int needed = std::vsnprintf(small, sizeof small, format, args);
    va_end(args);
    std::string out;
    if (needed < 0) {
        // leave empty
    } else if (static_cast<std::size_t>(needed) < sizeof small) {
        out.assign(small, static_cast<std::size_t>(needed));
    } else {
        out.resize(static_cast<std::size_t>(needed));
        va_start(args, format);
        std::vsnprintf(out.data(), out.size() + 1, format, args);
        va_end(args);
    }
    uselocale(previous);
    return out;
}
