#include "receiver/LogSettings.h"
#include "receiver/NMEALogFile.h"
#include "receiver/RecordingRules.h"
#include "settings/SettingsKey.h"

#include <QDir>
#include <QTemporaryDir>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <numeric>
#include <optional>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
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

} // namespace

// The file only ever holds whole lines, byte-exact as written; a failure closes the log and is
// reported once.
TEST(NMEALogFile, CreateWriteAndFailures)
{
    std::signal(SIGXFSZ, SIG_IGN); // writes past a file size limit then fail with EFBIG
    const std::vector<std::string> five = {"$GPGGA,1\r\n", "$GPGGA,2\r\n", "$GPGGA,3\r\n",
                                           "$GPGGA,4\r\n", "$GPGGA,5\r\n"};
    const std::vector<std::string> bytes = {"$GPGGA,1*47\r\n",
                                            std::string("\xff\x80\x01$\0G\r\n", 8)};
    const std::vector<std::string> blank = {"$GPGSV,3*7A\n", "\r\n", "\n", ""};
    const std::vector<std::string> large = {std::string(1 << 20, 'x') + "\r\n", "$GPGGA\r\n"};
    struct Case {
        const char *name; // in a directory holding "old.nmea", or a device
        int createError, writeError;
        rlim_t limit;
        const std::vector<std::string> &lines;
        std::size_t wholeLines; // of `lines`, expected in the file
        const char *legend;
    };
    const Case cases[] = {
        {"log.nmea", 0, 0, 0, bytes, 2, "CR LF, high bytes, controls and NULs"},
        {"old.nmea", 0, 0, 0, blank, 4, "an older log is emptied; bare LF, empty lines and writes"},
        {"log.nmea", 0, 0, 0, large, 2, "more than the buffer holds"},
        {"missing/log.nmea", ENOENT, 0, 0, five, 0, "missing directory"},
        {"", EISDIR, 0, 0, five, 0, "a directory"},
        {"old.nmea/log.nmea", ENOTDIR, 0, 0, five, 0, "a file as directory"},
        {"log.nmea", 0, EFBIG, 35, five, 3, "limit in the middle of the 4th line"},
        {"log.nmea", 0, EFBIG, 30, five, 3, "limit right after the 3rd line"},
        {"log.nmea", 0, EFBIG, 4, five, 0, "limit inside the first line"},
        {"full", 0, ENOSPC, 0, five, 0, "full disk: a device of the test's own"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const QTemporaryDir dir;
        std::ofstream(dir.filePath("old.nmea").toStdString()) << "$GPGGA,old and longer\r\n";
        const std::string path = dir.filePath(c.name).toStdString();
        const bool device = std::string_view(c.name) == "full";
        if (device && ::mknod(path.c_str(), S_IFCHR | 0600, ::makedev(1, 7)) != 0)
            continue; // no device nodes here (not root, or a nodev mount)
        CNMEALogFile log;
        std::vector<std::string> reported;
        log.SetFailureHandler([&](const std::string &text) {
            reported.push_back(text);
            EXPECT_FALSE(log.IsOpen()) << "closed before it is reported";
        });
        EXPECT_EQ(log.Create(path), c.createError == 0);
        rlimit saved{};
        getrlimit(RLIMIT_FSIZE, &saved);
        rlimit limit = saved;
        limit.rlim_cur = c.limit == 0 ? saved.rlim_cur : c.limit;
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        for (int batch = 0; batch < (c.writeError ? 2 : 1); ++batch) { // again after a failure
            for (const std::string &line : c.lines)
                log.Write(line);
            log.Flush();
        }
        setrlimit(RLIMIT_FSIZE, &saved);
        const int error = c.createError + c.writeError;
        EXPECT_EQ(log.GetErrorCode(), error);
        EXPECT_EQ(log.GetErrorText(), error ? std::system_category().message(error) : "");
        EXPECT_EQ(reported.size(), c.writeError ? 1U : 0U);
        EXPECT_EQ(log.IsOpen(), error == 0);
        const auto end = c.lines.begin() + static_cast<long>(c.wholeLines);
        if (c.createError == 0 && !device) { // a device or nothing to read
            EXPECT_EQ(ReadFile(path), std::accumulate(c.lines.begin(), end, std::string()));
        }
    }
}

// Opening a log never destroys what it must not: a file another recording holds, the file being
// replayed (by any of its names), or an older file when the open fails. A file that opens is
// replaced, and says by how much.
TEST(NMEALogFile, CreateRefusesWithoutTouchingTheFile)
{
    const std::string old = "$GPGGA,old and longer\r\n";
    using Refusal = CNMEALogFile::Refusal;
    struct Case {
        const char *path;   // in a directory holding "old.nmea" and "link.nmea" -> old.nmea
        bool heldByAnother; // another log has old.nmea open
        bool oldIsReplayed;
        Refusal refusal;
        int errorCode;
        const char *legend;
    };
    const Case cases[] = {
        {"old.nmea", false, false, Refusal::None, 0, "an older log is replaced"},
        {"new.nmea", false, true, Refusal::None, 0, "another file than the replayed one"},
        {"old.nmea", true, false, Refusal::InUse, EBUSY, "in use by another recording"},
        {"link.nmea", true, false, Refusal::InUse, EBUSY, "in use, through a symlink"},
        {"old.nmea", false, true, Refusal::SameAsReplay, EINVAL, "the replayed file"},
        {"link.nmea", false, true, Refusal::SameAsReplay, EINVAL, "the replayed file by a link"},
        {"./sub/../old.nmea", false, true, Refusal::SameAsReplay, EINVAL, "by another path"},
        {"fifo", false, false, Refusal::System, ENXIO, "a FIFO nobody reads: no hang"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const QTemporaryDir dir;
        const std::string oldPath = dir.filePath("old.nmea").toStdString();
        std::ofstream(oldPath) << old;
        ASSERT_EQ(::symlink(oldPath.c_str(), dir.filePath("link.nmea").toLocal8Bit()), 0);
        ASSERT_TRUE(QDir(dir.path()).mkdir("sub"));
        ASSERT_EQ(::mkfifo(dir.filePath("fifo").toLocal8Bit(), 0644), 0);
        CNMEALogFile first;
        if (c.heldByAnother) {
            ASSERT_TRUE(first.Create(oldPath));
            first.Write("$GPGGA,first\r\n");
        }
        const auto replayed =
            c.oldIsReplayed ? CFileIdentity::OfPath(oldPath) : std::optional<CFileIdentity>();
        CNMEALogFile log;
        const bool opened = log.Create(dir.path().toStdString() + "/" + c.path, replayed);
        EXPECT_EQ(opened, c.refusal == Refusal::None);
        EXPECT_EQ(log.GetRefusal(), c.refusal);
        EXPECT_EQ(log.GetErrorCode(), c.errorCode);
        EXPECT_EQ(log.IsOpen(), opened);
        log.Write("$GPGGA,second\r\n");
        log.Close();
        first.Close();
        const bool replacedOld = opened && std::string(c.path) == "old.nmea";
        EXPECT_EQ(log.GetReplacedBytes(), replacedOld ? static_cast<long long>(old.size()) : 0);
        EXPECT_EQ(ReadFile(oldPath), c.heldByAnother ? "$GPGGA,first\r\n"
                                     : replacedOld   ? "$GPGGA,second\r\n"
                                                     : old);
    }
}

// Loaded rules as the stored values say; saved again as all six values, a disabled type as 0.
TEST(LogSettings, MissingValuesKeepDefaultsAndSaveStoresAll)
{
    struct Case {
        const char *ini; // after [Software\Veloran\LogSettings]
        // GGARate, RMCRate, GSARate, GSVRate, VTGRate, LogOthers
        std::array<std::int32_t, 6> values;
        const char *legend;
    };
    const Case cases[] = {
        {"", {1, 1, 1, 1, 1, 1}, "no values"},
        {"GSVRate=4\nVTGRate=x\nRMCRate=\nLogOthers=7", {1, 1, 1, 4, 1, 1}, "unreadable, 7 is on"},
        {"GGARate=2\nRMCRate=4\nGSARate=8\nGSVRate=16\nVTGRate=0\nLogOthers=0",
         {2, 4, 8, 16, 0, 0},
         "all six as an earlier version wrote them"},
        {"[Software\\Veloran\\SerialPort]\nGGARate=0\n[Software\\Veloran]\nRMCRate=0",
         {1, 1, 1, 1, 1, 1},
         "same names under other keys do not count"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const QTemporaryDir dir;
        CSettingsKey::SetConfigDirectory(dir.path().toStdString());
        std::ofstream(CSettingsKey::GetSettingsFile()) << "[Software\\Veloran\\LogSettings]\n"
                                                       << c.ini << "\n";
        CRecordingRules rules;
        LoadRecordingRules(rules);
        CRecordingRules saved = rules;
        saved.SetEnabled(kSentenceRMC, false);
        SaveRecordingRules(saved);
        CSettingsKey key;
        ASSERT_TRUE(key.Open(kLogSettingsKey, false));
        for (std::size_t i = 0; i < c.values.size(); ++i) {
            const int type = kRecordingValues[i].sentenceType;
            const std::int32_t value = c.values[i];
            SCOPED_TRACE(kRecordingValues[i].name);
            EXPECT_EQ(type == kSentenceNone ? rules.GetLogOthers() : rules.IsEnabled(type),
                      value != 0);
            EXPECT_EQ(rules.GetRate(type), type == kSentenceNone ? 0U : std::uint32_t(value));
            std::int32_t stored = -1;
            EXPECT_TRUE(key.ReadNumber(kRecordingValues[i].name, stored));
            EXPECT_EQ(stored, type == kSentenceRMC ? 0 : value);
        }
    }
}
