#include "app/SettingsKey.h"
#include "receiver/LogSettings.h"
#include "receiver/NMEALogFile.h"
#include "receiver/RecordingRules.h"

#include <QTemporaryDir>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace
{

std::string ReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteFile(const std::string &path, const std::string &bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

std::string SystemText(int errorCode)
{
    return std::system_category().message(errorCode);
}

struct Paths {
    QTemporaryDir dir;
    [[nodiscard]] std::string operator()(const char *name) const
    {
        return dir.path().toStdString() + "/" + name;
    }
};

// Lowers the file size limit for one test; writes past it fail with EFBIG instead of a signal.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        getrlimit(RLIMIT_FSIZE, &m_saved);
        m_savedHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit = m_saved;
        limit.rlim_cur = bytes;
        m_ok = setrlimit(RLIMIT_FSIZE, &limit) == 0;
    }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &m_saved);
        std::signal(SIGXFSZ, m_savedHandler);
    }
    FileSizeLimit(const FileSizeLimit &) = delete;
    FileSizeLimit &operator=(const FileSizeLimit &) = delete;
    [[nodiscard]] bool IsSet() const { return m_ok; }

private:
    rlimit m_saved{};
    void (*m_savedHandler)(int) = nullptr;
    bool m_ok = false;
};

} // namespace

TEST(NMEALogFile, LinesArriveByteExactAfterFlush)
{
    struct Case {
        std::vector<std::string> lines;
        const char *legend;
    };
    const Case cases[] = {
        {{"$GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,*47\r\n",
          "$GPRMC,123519,A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W*6A\r\n"},
         "received lines with CR LF"},
        {{"$GPGSV,3,1,11*7A\n", "\r\n", "\n", ""}, "bare line feeds, empty lines and writes"},
        {{std::string("\xff\xfe\x80\x01\x7f\r\n", 7), std::string("$GP\0GGA\r\n", 10)},
         "high bytes, controls and NULs"},
        {{std::string(1 << 20, 'x') + "\r\n", "$GPGGA\r\n"}, "more than the buffer holds"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        Paths paths;
        CNMEALogFile log;
        int failures = 0;
        log.SetFailureHandler([&](const std::string &) { ++failures; });
        ASSERT_TRUE(log.Create(paths("log.nmea"))) << log.GetErrorText();
        std::string expected;
        for (const std::string &line : c.lines) {
            log.Write(line);
            expected += line;
        }
        log.Flush();
        EXPECT_EQ(ReadFile(paths("log.nmea")), expected);
        log.Close();
        EXPECT_EQ(ReadFile(paths("log.nmea")), expected);
        EXPECT_EQ(failures, 0);
    }
}

TEST(NMEALogFile, CreateTruncatesOrFailsCleanly)
{
    Paths paths;
    WriteFile(paths("old.nmea"), "$GPGGA,old,longer than the new content\r\n");
    WriteFile(paths("file"), "x");
    struct Case {
        std::string path;
        int errorCode; // 0: created
        const char *legend;
    };
    const Case cases[] = {
        {paths("old.nmea"), 0, "an older log is emptied"},
        {paths("missing/log.nmea"), ENOENT, "missing directory"},
        {paths(""), EISDIR, "a directory"},
        {paths("file/log.nmea"), ENOTDIR, "a file as directory"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        CNMEALogFile log;
        EXPECT_EQ(log.Create(c.path), c.errorCode == 0);
        EXPECT_EQ(log.IsOpen(), c.errorCode == 0);
        if (c.errorCode == 0) {
            log.Write("$GPGGA,new\r\n");
            log.Close();
            EXPECT_EQ(ReadFile(c.path), "$GPGGA,new\r\n");
        } else {
            EXPECT_EQ(log.GetErrorCode(), c.errorCode);
            EXPECT_EQ(log.GetErrorText(), SystemText(c.errorCode));
        }
    }
}

TEST(NMEALogFile, WriteFailureKeepsWholeLinesAndIsReportedOnce)
{
    constexpr std::size_t kLineBytes = 30;
    std::vector<std::string> lines;
    for (char c = 'a'; c < 'a' + 5; ++c)
        lines.push_back("$GPGGA," + std::string(kLineBytes - 9, c) + "\r\n");
    struct Case {
        rlim_t limit;
        std::size_t wholeLines;
        const char *legend;
    };
    const Case cases[] = {
        {100, 3, "limit in the middle of the 4th line"},
        {90, 3, "limit right after the 3rd line"},
        {10, 0, "limit inside the first line"},
        {150, 5, "everything fits"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        Paths paths;
        CNMEALogFile log;
        std::vector<std::string> reported;
        log.SetFailureHandler([&](const std::string &text) {
            reported.push_back(text);
            EXPECT_FALSE(log.IsOpen()) << "closed before it is reported";
        });
        ASSERT_TRUE(log.Create(paths("log.nmea")));
        {
            FileSizeLimit limit(c.limit);
            ASSERT_TRUE(limit.IsSet());
            for (const std::string &line : lines)
                log.Write(line);
            log.Flush();
        }
        std::string expected;
        for (std::size_t i = 0; i < c.wholeLines; ++i)
            expected += lines[i];
        EXPECT_EQ(ReadFile(paths("log.nmea")), expected);
        EXPECT_EQ(log.IsOpen(), c.wholeLines == lines.size());
        if (c.wholeLines == lines.size())
            continue;
        ASSERT_EQ(reported.size(), 1u);
        EXPECT_EQ(reported[0], SystemText(EFBIG));
        log.Write("$GPGGA,room again\r\n");
        log.Flush();
        EXPECT_EQ(reported.size(), 1u) << "later writes stay quiet";
        EXPECT_EQ(ReadFile(paths("log.nmea")), expected);
    }
}

TEST(NMEALogFile, FullDiskClosesOnTheFirstFlush)
{
    if (access("/dev/full", W_OK) != 0)
        GTEST_SKIP() << "no writable /dev/full";
    CNMEALogFile log;
    int failures = 0;
    log.SetFailureHandler([&](const std::string &) { ++failures; });
    ASSERT_TRUE(log.Create("/dev/full")) << log.GetErrorText();
    log.Write("$GPGGA,1\r\n");
    log.Flush();
    EXPECT_FALSE(log.IsOpen());
    EXPECT_EQ(log.GetErrorCode(), ENOSPC);
    log.Write("$GPGGA,2\r\n");
    log.Close();
    EXPECT_EQ(failures, 1);
}

namespace
{

// Stored values in the order GGARate, RMCRate, GSARate, GSVRate, VTGRate, LogOthers.
using StoredValues = std::array<std::int32_t, 6>;

void ExpectRules(const CRecordingRules &rules, const StoredValues &values)
{
    for (std::size_t i = 0; i < kRecordingValues.size(); ++i) {
        const RecordingValue &value = kRecordingValues[i];
        SCOPED_TRACE(value.name);
        if (value.sentenceType == kSentenceNone) {
            EXPECT_EQ(rules.GetLogOthers(), values[i] != 0);
            continue;
        }
        EXPECT_EQ(rules.IsEnabled(value.sentenceType), values[i] != 0);
        EXPECT_EQ(rules.GetRate(value.sentenceType), static_cast<std::uint32_t>(values[i]));
    }
}

} // namespace

TEST(LogSettings, SaveAndLoadRoundTrip)
{
    struct Case {
        void (*setUp)(CRecordingRules &);
        StoredValues stored;
        const char *legend;
    };
    const Case cases[] = {
        {[](CRecordingRules &) {}, {1, 1, 1, 1, 1, 1}, "defaults"},
        {[](CRecordingRules &r) {
             r.SetRate(kSentenceGGA, 2);
             r.SetRate(kSentenceRMC, 4);
             r.SetRate(kSentenceGSA, 8);
             r.SetRate(kSentenceGSV, 16);
             r.SetLogOthers(false);
         },
         {2, 4, 8, 16, 1, 0},
         "each type its own rate"},
        {[](CRecordingRules &r) {
             r.SetRate(kSentenceGGA, 8);
             r.SetEnabled(kSentenceGGA, false);
         },
         {0, 1, 1, 1, 1, 1},
         "an unchecked type stores rate 0"},
        {[](CRecordingRules &r) { r.SetEnabled(kSentenceVTG, false); },
         {1, 1, 1, 1, 0, 1},
         "VTG unchecked"},
        {[](CRecordingRules &r) { r.SetRate(kSentenceGSV, 0); },
         {1, 1, 1, 0, 1, 1},
         "checked at rate 0 comes back unchecked"},
        {[](CRecordingRules &r) { r.ApplyProfile(kProfileModerate); },
         {4, 4, 8, 8, 0, 0},
         "moderate profile"},
        {[](CRecordingRules &r) { r.ApplyProfile(kProfileLow); },
         {8, 8, 16, 16, 0, 0},
         "low profile"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        QTemporaryDir dir;
        CSettingsKey::SetConfigDirectory(dir.path().toStdString());
        CRecordingRules saved;
        c.setUp(saved);
        SaveRecordingRules(saved);

        CSettingsKey key;
        ASSERT_TRUE(key.Open(kLogSettingsKey, false));
        for (std::size_t i = 0; i < kRecordingValues.size(); ++i) {
            SCOPED_TRACE(kRecordingValues[i].name);
            std::int32_t number = -1;
            EXPECT_TRUE(key.ReadNumber(kRecordingValues[i].name, number));
            EXPECT_EQ(number, c.stored[i]);
        }

        CRecordingRules loaded;
        LoadRecordingRules(loaded);
        ExpectRules(loaded, c.stored);
    }
}

TEST(LogSettings, MissingValuesKeepDefaults)
{
    struct Value {
        const char *key;
        const char *name;
        std::int32_t number;
    };
    struct Case {
        std::vector<Value> stored;
        StoredValues expected;
        const char *legend;
    };
    const Case cases[] = {
        {{}, {1, 1, 1, 1, 1, 1}, "no settings file"},
        {{{kLogSettingsKey, "GGARate", 0}}, {0, 1, 1, 1, 1, 1}, "only GGA, off"},
        {{{kLogSettingsKey, "LogOthers", 0}}, {1, 1, 1, 1, 1, 0}, "only log-others, off"},
        {{{kLogSettingsKey, "LogOthers", 7}}, {1, 1, 1, 1, 1, 1}, "any non-zero flag is on"},
        {{{kLogSettingsKey, "GSVRate", 4}, {kLogSettingsKey, "VTGRate", 0}},
         {1, 1, 1, 4, 0, 1},
         "two of six"},
        {{{kLogSettingsKey, "GGARate", 2},
          {kLogSettingsKey, "RMCRate", 4},
          {kLogSettingsKey, "GSARate", 8},
          {kLogSettingsKey, "GSVRate", 16},
          {kLogSettingsKey, "VTGRate", 0},
          {kLogSettingsKey, "LogOthers", 0}},
         {2, 4, 8, 16, 0, 0},
         "all six as an earlier version wrote them"},
        {{{"Software/Veloran/SerialPort", "GGARate", 0}, {"Software/Veloran", "RMCRate", 0}},
         {1, 1, 1, 1, 1, 1},
         "same names under other keys do not count"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        QTemporaryDir dir;
        CSettingsKey::SetConfigDirectory(dir.path().toStdString());
        for (const Value &value : c.stored) {
            CSettingsKey key;
            ASSERT_TRUE(key.Open(value.key, true));
            key.WriteNumber(value.name, value.number);
        }
        CRecordingRules loaded;
        LoadRecordingRules(loaded);
        ExpectRules(loaded, c.expected);
    }
}
