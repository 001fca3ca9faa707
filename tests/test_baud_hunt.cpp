#include "receiver/BaudHunt.h"

#include <gtest/gtest.h>
#include <optional>
#include <vector>

namespace
{

const std::vector<int> kFactoryOrder{9600, 4800, 38400, 115200, 57600, 19200, 230400};

std::vector<int> Speeds(const std::vector<CBaudTry> &tries)
{
    std::vector<int> speeds;
    for (const CBaudTry &t : tries)
        speeds.push_back(t.speed);
    return speeds;
}

// Reports `kind` at every speed until the hunt ends; the speeds it was asked to try.
std::vector<int> Walk(CBaudHunt &hunt, StreamKind kind)
{
    std::vector<int> tried;
    while (hunt.GetState() == CBaudHunt::State::Hunting) {
        tried.push_back(hunt.GetSpeed());
        hunt.Report(kind);
    }
    return tried;
}

} // namespace

TEST(BaudHunt, Order)
{
    const auto with = [](std::vector<int> head, std::vector<int> tail) {
        head.insert(head.end(), tail.begin(), tail.end());
        return head;
    };
    const std::vector<int> all = with(kFactoryOrder, {460800, 921600});
    const struct {
        std::optional<int> lastGood;
        bool high;
        std::vector<int> order;
        const char *legend;
    } cases[] = {
        {std::nullopt, false, kFactoryOrder, "factory speeds only"},
        {std::nullopt, true, all, "high speeds last, when asked"},
        {115200, false, {115200, 9600, 4800, 38400, 57600, 19200, 230400}, "last good not twice"},
        {9600, false, kFactoryOrder, "last good already first"},
        {230400,
         true,
         {230400, 9600, 4800, 38400, 115200, 57600, 19200, 460800, 921600},
         "last good was last"},
        {921600, false, with({921600}, kFactoryOrder), "last good is high: tried, not asked"},
        {921600, true, with({921600}, with(kFactoryOrder, {460800})), "high, asked"},
        {14400, false, with({14400}, kFactoryOrder), "a rate outside the list"},
        {0, false, kFactoryOrder, "0 is no speed"},
        {-4800, false, kFactoryOrder, "nor is a negative one"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        CBaudHunt hunt(c.lastGood, c.high);
        EXPECT_EQ(hunt.GetOrder(), c.order);
        EXPECT_EQ(Walk(hunt, StreamKind::Garbage), c.order) << "asked in the same order";
    }
}

TEST(BaudHunt, ExhaustedAfterEverySpeed)
{
    for (const StreamKind kind : {StreamKind::Silence, StreamKind::Garbage}) {
        SCOPED_TRACE(StreamKindName(kind));
        CBaudHunt hunt(57600, true);
        const std::vector<int> tried = Walk(hunt, kind);
        EXPECT_EQ(hunt.GetState(), CBaudHunt::State::Exhausted);
        EXPECT_EQ(tried.size(), 9u);
        EXPECT_EQ(Speeds(hunt.GetTries()), tried);
        EXPECT_EQ(hunt.GetSpeed(), 0);
        EXPECT_EQ(hunt.GetLockedSpeed(), 0);
        EXPECT_EQ(hunt.HeardBytes(), kind == StreamKind::Garbage);
        hunt.Report(StreamKind::Nmea);
        hunt.Skip();
        EXPECT_EQ(hunt.GetState(), CBaudHunt::State::Exhausted) << "reports after the end";
        EXPECT_EQ(hunt.GetTries().size(), 9u);
    }
}

TEST(BaudHunt, LocksOnAReceiversLanguage)
{
    for (const StreamKind kind : {StreamKind::Nmea, StreamKind::SirfBinary, StreamKind::Ubx}) {
        SCOPED_TRACE(StreamKindName(kind));
        CBaudHunt hunt;
        hunt.Report(StreamKind::Silence);
        hunt.Report(StreamKind::Garbage);
        EXPECT_EQ(hunt.GetSpeed(), 38400);
        hunt.Report(kind);
        EXPECT_EQ(hunt.GetState(), CBaudHunt::State::Locked);
        EXPECT_EQ(hunt.GetLockedSpeed(), 38400);
        EXPECT_EQ(hunt.GetLockedKind(), kind);
        EXPECT_EQ(hunt.GetSpeed(), 0);
        EXPECT_TRUE(hunt.HeardBytes());
        hunt.Report(StreamKind::Garbage);
        EXPECT_EQ(hunt.GetLockedSpeed(), 38400) << "a lock stays";
        EXPECT_EQ(Speeds(hunt.GetTries()), (std::vector<int>{9600, 4800, 38400}));
    }
}

// A speed the port cannot be set to is passed over, not counted as heard.
TEST(BaudHunt, SkippedSpeedsAreNoTries)
{
    CBaudHunt hunt(std::nullopt, true);
    hunt.Report(StreamKind::Silence);
    hunt.Skip();
    EXPECT_EQ(hunt.GetSpeed(), 38400);
    while (hunt.GetState() == CBaudHunt::State::Hunting)
        hunt.Skip();
    EXPECT_EQ(hunt.GetState(), CBaudHunt::State::Exhausted);
    EXPECT_EQ(Speeds(hunt.GetTries()), std::vector<int>{9600});
    EXPECT_FALSE(hunt.HeardBytes());
}

TEST(BaudHunt, ProgressText)
{
    EXPECT_EQ(BaudTryText(9600), "Trying 9600 baud\u2026");
    EXPECT_EQ(BaudTryText(921600), "Trying 921600 baud\u2026");
}
