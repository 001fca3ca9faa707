#include "base/Numbers.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <gtest/gtest.h>
#include <locale.h>
#include <random>
#include <string>

namespace
{

// glibc's own sscanf in the "C" locale is the reference for every scan.
template <class T> int ScanfC(const std::string &text, const char *format, T &value)
{
    static const locale_t c = newlocale(LC_ALL_MASK, "C", nullptr);
    const locale_t previous = uselocale(c);
    const int r = std::sscanf(text.c_str(), format, &value);
    uselocale(previous);
    return r;
}

bool SameDouble(double a, double b)
{
    return (a == b || (std::isnan(a) && std::isnan(b))) && std::signbit(a) == std::signbit(b);
}

void ExpectSameAsScanf(const std::string &text)
{
    SCOPED_TRACE("text [" + text + "]");
    double want = -7.25;
    double got = -7.25;
    EXPECT_EQ(ScanDouble(text, got), ScanfC(text, "%lf", want));
    EXPECT_TRUE(SameDouble(got, want)) << got << " vs " << want;

    std::int32_t wantInt = -7;
    std::int32_t gotInt = -7;
    EXPECT_EQ(ScanInt(text, gotInt), ScanfC(text, "%d", wantInt));
    EXPECT_EQ(gotInt, wantInt);

    unsigned wantHex = 7;
    std::uint32_t gotHex = 7;
    EXPECT_EQ(ScanHex(text, gotHex), ScanfC(text, "%X", wantHex));
    EXPECT_EQ(gotHex, wantHex);

    unsigned wantU = 7;
    std::uint32_t gotU = 7;
    EXPECT_EQ(ScanUnsigned(text, gotU), ScanfC(text, "%u", wantU));
    EXPECT_EQ(gotU, wantU);
}

} // namespace

TEST(NumberScan, MatchesScanfOnNMEAAndGarbageFields)
{
    // clang-format off
    const char *cases[] = {
        "", " ", "\t\r", "4807.038", "01131.000", "-12.5", "+3", "0.9", "545.4", "12abc", "1e",
        "1e+", "1e5x", "1.5e-3", "-", "+", ".", "-.", ".5", "5.", "0", "-0", "-0.0", "00012.5000",
        "0x", "0x1p3", "0X.8", "0x.", "0x1p", "0xp1", "0x1g", "0xg", "+0x", "inf", "INF",
        "infinity", "INFIN", "infx", "in", "nan", "NaN(12)", "nan(", "-nan", "na", " -4.5",
        "\v12", "- 5", "99999999999", "-99999999999", "999999999999999999999999",
        "18446744073709551616", "-9223372036854775808", "9223372036854775808", "fffffffff",
        "123456789012345678901234", "0.1234567890123456789012345", "9007199254740993",
        "1e400", "1e-400", "4.9e-324", "2.2250738585072011e-308", "12,5", "1.2.3", "abc", "G",
        "0.000000000000000000000001", "17976931348623157e292", "2A", "-2a", "0x47", "*47"};
    // clang-format on
    for (const char *c : cases)
        ExpectSameAsScanf(c);
}

TEST(NumberScan, MatchesScanfOnRandomText)
{
    // Short strings over the characters that steer the number grammars.
    constexpr std::string_view alphabet = "0123456789+-.eExXpPaAfFinINty( \t5";
    std::mt19937 random(20261121);
    for (int i = 0; i < 20000; ++i) {
        std::string text;
        const int length = static_cast<int>(random() % 9);
        for (int k = 0; k < length; ++k)
            text += alphabet[random() % alphabet.size()];
        ExpectSameAsScanf(text);
        if (HasFailure())
            break;
    }
}

// The suite also runs under a decimal-comma locale; none of this may change.
TEST(NumberFormat, AtoiAtofAndPrintingWithDecimalPointInAnyLocale)
{
    EXPECT_EQ(ToInt("1a"), 1);
    EXPECT_EQ(ToInt("xx"), 0) << "0 when nothing converts";
    EXPECT_EQ(ToDouble("19.50"), 19.5);
    EXPECT_EQ(FormatC("%09.6lf", 48.1173), "48.117300");
    EXPECT_EQ(FormatC("%.5g km", 12.3456789), "12.346 km");
    EXPECT_EQ(FormatC("%s-%d", "x", 5), "x-5");
    EXPECT_EQ(FormatC("%300d", 1).size(), 300U) << "longer than the stack buffer";
}
