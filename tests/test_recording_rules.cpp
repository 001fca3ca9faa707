#include "receiver/RecordingRules.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace
{

// One character per received line: A GGA, S GSA, R RMC, T VTG, V GSV ending its group, v GSV
// with more of its group to come, x not accepted (-1), 5 and 9 codes past the known types.
// '|' resets the counters; spaces only group the lines for the reader.
std::string Record(CRecordingRules &rules, const std::string &stream)
{
    const std::string_view codes = "ASRTVvx"; // digits are type codes themselves
    const int types[] = {kSentenceGGA, kSentenceGSA, kSentenceRMC, kSentenceVTG,
                         kSentenceGSV, kSentenceGSV, kSentenceNone};
    std::string answers;
    for (const char c : stream) {
        const std::size_t code = codes.find(c);
        const int type = code != codes.npos ? types[code] : c - '0';
        if (c == '|')
            rules.ResetCounters();
        answers += (c == ' ' || c == '|') ? c : (rules.ShouldRecord(type, c == 'v') ? '1' : '0');
    }
    return answers;
}

// `profile` applied to a state it has to undo: rates of 2, only VTG on, log-others the other way.
template <RecordingProfile profile> void Profile(CRecordingRules &rules)
{
    for (int type = 0; type < kSentenceTypeCount; ++type) {
        rules.SetRate(type, 2);
        rules.SetEnabled(type, type == kSentenceVTG);
    }
    rules.SetLogOthers(!kRecordingProfiles[profile].logOthers);
    rules.ApplyProfile(profile);
}

void Defaults(CRecordingRules &) {}
template <int type, std::uint32_t rate> void Rate(CRecordingRules &r)
{
    r.SetRate(type, rate);
}
template <int type> void Off(CRecordingRules &r)
{
    r.SetEnabled(type, false);
}

struct Case {
    void (*setUp)(CRecordingRules &);
    const char *stream, *recorded, *legend;
};

void RunCases(const Case *begin, const Case *end)
{
    for (const Case *c = begin; c != end; ++c) {
        SCOPED_TRACE(c->legend);
        CRecordingRules rules;
        c->setUp(rules);
        EXPECT_EQ(Record(rules, c->stream), c->recorded) << "stream " << c->stream;
    }
}

} // namespace

TEST(RecordingRules, EveryNthSentence)
{
    const Case cases[] = {
        {Defaults, "A R S T vvV x 5 9 A", "1 1 1 1 111 1 1 1 1", "defaults: all"},
        {Rate<kSentenceGGA, 2>, "ARARARAR", "01110111",
         "rate 2: 2nd, 4th; other types neither count nor get counted"},
        {Rate<kSentenceRMC, 4>, "RRRRRRRRR", "000100010", "rate 4: 4th and 8th"},
        {Rate<kSentenceVTG, 8>, "TTTTTTTT A", "00000001 1", "rate 8 VTG beside rate 1 GGA"},
        {Rate<kSentenceGGA, 3>, "AAAAAA", "001001", "a rate the dialog does not offer still works"},
    };
    RunCases(std::begin(cases), std::end(cases));
}

TEST(RecordingRules, GsvGoesByWholeGroups)
{
    const Case cases[] = {
        {Rate<kSentenceGSV, 2>, "vvV vvV vvV vvV vvV", "111 000 111 000 111",
         "groups 1, 3, 5 whole"},
        {Rate<kSentenceGSV, 4>, "vV V vvvV V vV", "11 0 0000 0 11",
         "rate 4, groups of changing size"},
        {Rate<kSentenceGSV, 2>, "vAvRV vAvRV", "11111 01010",
         "other sentences between the messages"},
        {Rate<kSentenceGSV, 2>, "vv vvV vvV", "11 111 000",
         "a group cut short is counted with the next"},
        {Rate<kSentenceGGA, 2>, "vvV A vvV", "111 0 111", "GGA's rate leaves GSV alone"},
    };
    RunCases(std::begin(cases), std::end(cases));
}

TEST(RecordingRules, DisabledResetAndOtherLines)
{
    const Case cases[] = {
        {Off<kSentenceGGA>, "AAAA R x59", "0000 1 111", "GGA off, RMC and others still in"},
        {Off<kSentenceGSV>, "vvV V", "000 0", "GSV off"},
        {Rate<kSentenceGGA, 0>, "AAA", "000", "enabled at rate 0 records nothing"},
        {[](CRecordingRules &r) { r.SetLogOthers(false); }, "x5 9 A vV", "00 0 1 11",
         "log-others off drops only the others"},
        {Rate<kSentenceTypeCount, 0>, "ASRTV 5", "11111 1", "a rule for code 5 reaches no type"},
        {Off<kSentenceNone>, "ASRTV x", "11111 1", "nor does one for -1"},
        {Rate<kSentenceGGA, 4>, "AAA|AAAA", "000|0001", "reset: GGA starts counting from zero"},
        {Rate<kSentenceGSV, 2>, "vV|vV vV", "11|11 00",
         "the first GSV group after a reset goes in"},
        {Rate<kSentenceGSV, 2>, "v|V V", "1|1 0", "reset inside a group"},
    };
    RunCases(std::begin(cases), std::end(cases));
}

// The dialog changes rules without a reset: counters run on through profiles and while a type
// is off.
TEST(RecordingRules, CountersRunOnThroughRuleChanges)
{
    CRecordingRules rules;
    EXPECT_EQ(Record(rules, "AAA"), "111");
    rules.ApplyProfile(kProfileModerate);
    EXPECT_EQ(Record(rules, "A"), "1") << "4th GGA since the reset";
    rules.SetEnabled(kSentenceGGA, false);
    EXPECT_EQ(Record(rules, "AAA"), "000");
    rules.SetEnabled(kSentenceGGA, true);
    EXPECT_EQ(Record(rules, "AAAAA"), "10001") << "8th and 12th";
}

TEST(RecordingRules, Profiles)
{
    const Case cases[] = {
        {Profile<kProfileFull>, "A R S vV T x", "1 1 1 11 1 1", "full"},
        {Profile<kProfileModerate>, "AAAA RRRR SSSSSSSS V V V V V V V V V T x",
         "0001 0001 00000001 1 0 0 0 0 0 0 0 1 0 0", "moderate"},
        {Profile<kProfileLow>,
         "AAAAAAAA RRRRRRRR SSSSSSSSSSSSSSSS vV V V V V V V V V V V V V V V V vV T x",
         "00000001 00000001 0000000000000001 11 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 11 0 0", "low"},
    };
    RunCases(std::begin(cases), std::end(cases));
    CRecordingRules rules;
    Profile<kProfileLow>(rules);
    EXPECT_EQ(rules.GetRate(kSentenceVTG), 2U) << "VTG off keeps its rate, the drop-down greyed";
}
