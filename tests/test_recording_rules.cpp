#include "receiver/RecordingRules.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

namespace
{

// One character per received line: A GGA, S GSA, R RMC, T VTG, V GSV ending its group,
// v GSV with more of its group to come, x not accepted (-1), 5 and 9 codes past the known
// types. '|' resets the counters; spaces only group the lines for the reader.
std::string Record(CRecordingRules &rules, const std::string &stream)
{
    std::string answers;
    for (char c : stream) {
        int type = kSentenceNone;
        switch (c) {
        case ' ':
            answers += ' ';
            continue;
        case '|':
            rules.ResetCounters();
            answers += '|';
            continue;
        case 'A':
            type = kSentenceGGA;
            break;
        case 'S':
            type = kSentenceGSA;
            break;
        case 'R':
            type = kSentenceRMC;
            break;
        case 'T':
            type = kSentenceVTG;
            break;
        case 'V':
        case 'v':
            type = kSentenceGSV;
            break;
        case 'x':
            type = kSentenceNone;
            break;
        case '5':
            type = 5;
            break;
        case '9':
            type = 9;
            break;
        default:
            ADD_FAILURE() << "unknown line code " << c;
            continue;
        }
        answers += rules.ShouldRecord(type, c == 'v') ? '1' : '0';
    }
    return answers;
}

struct Case {
    void (*setUp)(CRecordingRules &);
    const char *stream;
    const char *recorded;
    const char *legend;
};

void Defaults(CRecordingRules &) {}

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
        {Defaults, "A R S T vvV x 5 9 A", "1 1 1 1 111 1 1 1 1", "defaults: the whole stream"},
        {[](CRecordingRules &r) { r.SetRate(kSentenceGGA, 2); }, "AAAAAA", "010101",
         "rate 2: 2nd, 4th, 6th, not the 1st"},
        {[](CRecordingRules &r) { r.SetRate(kSentenceGGA, 2); }, "ARARARAR", "01110111",
         "other types neither count nor get counted for GGA"},
        {[](CRecordingRules &r) { r.SetRate(kSentenceRMC, 4); }, "RRRRRRRRR", "000100010",
         "rate 4: 4th and 8th"},
        {[](CRecordingRules &r) { r.SetRate(kSentenceGSA, 16); }, "SSSSSSSSSSSSSSS S",
         "000000000000000 1", "rate 16: the 16th"},
        {[](CRecordingRules &r) { r.SetRate(kSentenceVTG, 8); }, "TTTTTTTT A", "00000001 1",
         "rate 8 VTG beside rate 1 GGA"},
        {[](CRecordingRules &r) { r.SetRate(kSentenceGGA, 3); }, "AAAAAA", "001001",
         "a rate the dialog does not offer still works"},
    };
    RunCases(std::begin(cases), std::end(cases));
}

TEST(RecordingRules, GsvGoesByWholeGroups)
{
    const auto rate2 = [](CRecordingRules &r) { r.SetRate(kSentenceGSV, 2); };
    const Case cases[] = {
        {rate2, "vvV vvV vvV vvV vvV", "111 000 111 000 111", "groups 1, 3, 5 whole"},
        {rate2, "V V V V V", "1 0 1 0 1", "groups of one message"},
        {[](CRecordingRules &r) { r.SetRate(kSentenceGSV, 4); }, "vV V vvvV V vV", "11 0 0000 0 11",
         "rate 4, groups of changing size"},
        {rate2, "vAvRV vAvRV", "11111 01010", "other sentences between the messages"},
        {rate2, "vv vvV vvV", "11 111 000", "a group cut short is counted with the next"},
        {Defaults, "vvV V vV", "111 1 11", "rate 1: every group"},
        {[](CRecordingRules &r) { r.SetRate(kSentenceGGA, 2); }, "vvV A vvV", "111 0 111",
         "GGA's rate leaves GSV alone"},
    };
    RunCases(std::begin(cases), std::end(cases));
}

TEST(RecordingRules, DisabledAndOtherLines)
{
    const Case cases[] = {
        {[](CRecordingRules &r) { r.SetEnabled(kSentenceGGA, false); }, "AAAA R", "0000 1",
         "GGA off, RMC still in"},
        {[](CRecordingRules &r) { r.SetEnabled(kSentenceGSV, false); }, "vvV V", "000 0",
         "GSV off"},
        {[](CRecordingRules &r) { r.SetEnabled(kSentenceVTG, false); }, "TTT", "000", "VTG off"},
        {[](CRecordingRules &r) { r.SetRate(kSentenceGGA, 0); }, "AAA", "000",
         "enabled at rate 0 records nothing"},
        {[](CRecordingRules &r) { r.SetRate(kSentenceGSV, 0); }, "vV V", "00 0",
         "GSV enabled at rate 0 records nothing"},
        {[](CRecordingRules &r) { r.SetLogOthers(false); }, "x5 9 A vV", "00 0 1 11",
         "log-others off drops only the others"},
        {[](CRecordingRules &r) {
             for (int type = 0; type < kSentenceTypeCount; ++type)
                 r.SetEnabled(type, false);
         },
         "ASRTVx9", "0000011", "every type off, others still in"},
    };
    RunCases(std::begin(cases), std::end(cases));
}

TEST(RecordingRules, ResetRestartsThePattern)
{
    const Case cases[] = {
        {[](CRecordingRules &r) { r.SetRate(kSentenceGGA, 4); }, "AAA|AAAA", "000|0001",
         "GGA starts counting from zero"},
        {[](CRecordingRules &r) { r.SetRate(kSentenceGSV, 2); }, "vV|vV vV", "11|11 00",
         "the first GSV group after a reset goes in"},
        {[](CRecordingRules &r) { r.SetRate(kSentenceGSV, 2); }, "v|V V", "1|1 0",
         "reset inside a group"},
        {[](CRecordingRules &r) {
             r.SetRate(kSentenceGGA, 2);
             r.SetRate(kSentenceRMC, 2);
         },
         "A|RRA", "0|010", "all types at once"},
        {[](CRecordingRules &r) {
             r.SetRate(kSentenceGGA, 2);
             r.SetEnabled(kSentenceGGA, false);
         },
         "A|A", "0|0", "disabled stays off"},
    };
    RunCases(std::begin(cases), std::end(cases));
}

TEST(RecordingRules, CounterRunsOnWhileDisabled)
{
    // The dialog changes rules without a reset; a type switched back on picks up its count.
    CRecordingRules rules;
    rules.SetRate(kSentenceGGA, 4);
    rules.SetEnabled(kSentenceGGA, false);
    EXPECT_EQ(Record(rules, "AAA"), "000");
    rules.SetEnabled(kSentenceGGA, true);
    EXPECT_EQ(Record(rules, "AAAAA"), "10001");
}

TEST(RecordingRules, Profiles)
{
    struct ProfileCase {
        RecordingProfile profile;
        const char *name;
        const char *stream;
        const char *recorded;
        std::uint32_t vtgRate;
    };
    // VTG off keeps its rate: the dialog only greys its drop-down out.
    const ProfileCase cases[] = {
        {kProfileFull, "Full Rate (<800KB/h)", "A R S vV T x", "1 1 1 11 1 1", 1},
        {kProfileModerate, "Moderate (<100KB/h)", "AAAA RRRR SSSSSSSS V V V V V V V V V T x",
         "0001 0001 00000001 1 0 0 0 0 0 0 0 1 0 0", 2},
        {kProfileLow, "Low Rate (<30KB/h)",
         "AAAAAAAA RRRRRRRR SSSSSSSSSSSSSSSS vV V V V V V V V V V V V V V V V vV T x",
         "00000001 00000001 0000000000000001 11 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 11 0 0", 2},
    };
    for (const ProfileCase &c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_STREQ(kRecordingProfiles[c.profile].name, c.name);
        // From a state the profile must undo: rates of 2, only VTG on, log-others the other way.
        CRecordingRules rules;
        for (int type = 0; type < kSentenceTypeCount; ++type) {
            rules.SetRate(type, 2);
            rules.SetEnabled(type, false);
        }
        rules.SetEnabled(kSentenceVTG, true);
        rules.SetLogOthers(c.profile != kProfileFull);
        rules.ApplyProfile(c.profile);
        EXPECT_EQ(rules.GetRate(kSentenceVTG), c.vtgRate);
        EXPECT_EQ(Record(rules, c.stream), c.recorded);
        for (std::uint32_t rate : kRecordingProfiles[c.profile].rates) {
            const auto *choice =
                std::find(kRecordingRateChoices.begin(), kRecordingRateChoices.end(), rate);
            EXPECT_TRUE(rate == 0 || choice != kRecordingRateChoices.end())
                << rate << " is not in the drop-downs";
        }
    }
}

TEST(RecordingRules, ProfileLeavesCountersRunning)
{
    CRecordingRules rules;
    EXPECT_EQ(Record(rules, "AAA"), "111");
    rules.ApplyProfile(kProfileModerate);
    EXPECT_EQ(Record(rules, "A"), "1") << "4th GGA since the reset";
}

TEST(RecordingRules, CodesPastTheKnownTypes)
{
    const int codes[] = {kSentenceNone, -2, INT_MIN, kSentenceTypeCount, 100, INT_MAX};
    for (int code : codes) {
        SCOPED_TRACE(code);
        CRecordingRules rules;
        rules.SetRate(code, 0);
        rules.SetEnabled(code, false);
        EXPECT_EQ(rules.GetRate(code), 0u);
        EXPECT_FALSE(rules.IsEnabled(code));
        EXPECT_TRUE(rules.ShouldRecord(code, false)) << "an other line, log-others on";
        EXPECT_TRUE(rules.ShouldRecord(code, true));
        rules.SetLogOthers(false);
        EXPECT_FALSE(rules.ShouldRecord(code, false));
        // None of it reached a real type.
        EXPECT_EQ(Record(rules, "ASRTV"), "11111");
    }
}
