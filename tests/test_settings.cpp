#include "FakePortTree.h"
#include "FileTestUtils.h"
#include "SettingsTestUtils.h"
#include "receiver/LastSpeed.h"
#include "receiver/SerialSettings.h"
#include "settings/SettingsKey.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>
#include <optional>
#include <string>

namespace
{

struct SettingsTest : SettingsFileTest {
    static QByteArray Bytes(QFile &&f) { return f.open(QIODevice::ReadOnly) ? f.readAll() : ""; }
};

} // namespace

TEST_F(SettingsTest, ValuesSurviveTheNextRun)
{
    const std::string texts[] = {"",           "a,b, c",   "x=1;y [z] \"q\" \\ #",
                                 "Größe 東京", " padded ", "@Variant(0)"};
    const double doubles[6] = {0.1, 1.0 / 3, -1e-300, 4.9e-324, 1.7976931348623157e308, 1e22};
    Start("first", {});
    CSerialSettings serial;
    serial.SetPortName("COM4:");
    serial.SetBaudRateIndex(9);
    serial.SetChipsetIndex(CSerialSettings::kChipsetSirf);
    serial.Save();

    CSettingsKey key;
    EXPECT_FALSE(key.Open("Software/Veloran/Test", false)) << "missing, not created";
    EXPECT_EQ(key.ReadText("N", "default"), "default");
    ASSERT_TRUE(key.Open("Software\\Veloran\\Test", true));
    key.WriteNumber("N", INT32_MIN);
    key.WriteColor("C", {255, 128, 0});
    for (std::size_t i = 0; i < std::size(texts); ++i) {
        key.WriteText("T" + std::to_string(i), texts[i]);
        key.WriteDouble("D" + std::to_string(i), doubles[i]);
    }
    key.Open("Software/Veloran", false); // leaving the key writes the file
    const QString first = File();        // the program's next start:
    Start("next", {});
    ASSERT_TRUE(QFile::copy(first, File()));
    CSerialSettings next;
    next.Load();
    EXPECT_EQ(next.GetPortName(), "COM4:");
    EXPECT_EQ(next.GetBaudRate(), 256000);
    EXPECT_EQ(next.GetChipsetIndex(), CSerialSettings::kChipsetSirf);
    EXPECT_TRUE(next.IsConfigured());

    ASSERT_TRUE(key.Open("Software/Veloran/Test", false));
    EXPECT_EQ(key.ReadText("Absent", "fallback"), "fallback");
    EXPECT_EQ(key.ReadText("N", ""), "-2147483648") << "read back as numbers";
    EXPECT_EQ(key.ReadText("C", ""), "255,128,0") << "and colours by the table below";
    const QSettings file(File(), QSettings::IniFormat); // as a hand edit or older version sees it
    for (std::size_t i = 0; i < std::size(texts); ++i) {
        SCOPED_TRACE("[" + texts[i] + "]");
        EXPECT_EQ(key.ReadText("T" + std::to_string(i), "fallback"), texts[i]);
        EXPECT_EQ(file.value(QStringLiteral("Software/Veloran/Test/T%1").arg(i)).toString(),
                  QString::fromStdString(texts[i]));
        double real = 7;
        EXPECT_TRUE(key.ReadDouble("D" + std::to_string(i), real));
        EXPECT_EQ(real, doubles[i]);
    }
}

// The stored baud-rate index as a user's editor may leave it, read by every kind of read. A
// broken file opens no key and is not replaced by the part that parsed.
TEST_F(SettingsTest, ReadsOnlyValuesOfTheRightKindAndLeavesBrokenFilesAlone)
{
    struct Case {
        const char *legend, *stored;
        bool opens, isNumber, isDouble, isColor;
        int index; // of the baud rate, as loaded
    };
    const Case cases[] = {
        {"last baud-rate entry", "9", true, true, true, false, 9},
        {"one past the table opens at the first rate", "10", true, true, true, false, 0},
        {"negative", "-1", true, true, true, false, 0},
        {"trailing garbage: as if missing", "12abc", true, false, false, false, 0},
        {"decimal fraction", "1.5", true, false, true, false, 0},
        {"unquoted colour: QSettings reads a list", "10,20,30", true, false, false, true, 0},
        {"quoted colour with blanks", "\"10, 20, 30\"", true, false, false, true, 0},
        {"colour component above 255", "10,20,256", true, false, false, false, 0},
        {"negative colour component", "-1,0,0", true, false, false, false, 0},
        {"two components", "10,20", true, false, false, false, 0},
        {"binary garbage", "3\n\x89PNG\r\n\x1a\n\xff\xfe", false, false, false, false, 0},
        {"line without =", "3\nthis is no setting", false, false, false, false, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const QByteArray ini = "[Software]\nVeloran\\SerialPort\\BaudRate=" + QByteArray(c.stored);
        Start(c.legend, ini);
        CSettingsKey key;
        EXPECT_EQ(key.Open(CSerialSettings::kKey, true), c.opens);
        std::int32_t number = -99;
        double real = -99;
        std::array<int, 3> rgb{};
        EXPECT_EQ(key.ReadNumber("BaudRate", number), c.isNumber);
        EXPECT_EQ(number, c.isNumber ? std::atoi(c.stored) : -99);
        EXPECT_EQ(key.ReadDouble("BaudRate", real), c.isDouble);
        EXPECT_EQ(key.ReadColor("BaudRate", rgb), c.isColor);
        CSerialSettings settings;
        if (!c.opens)
            settings.Save();
        settings.Load();
        EXPECT_EQ(settings.GetPortName(), "COM1") << "the default";
        EXPECT_EQ(settings.GetBaudRateIndex(), c.index);
        EXPECT_EQ(settings.IsConfigured(), c.isNumber);
        EXPECT_EQ(Bytes(QFile(File())), ini);
    }
}

// A file we cannot use is reported once, with its reason, and stays as it was however often the
// owners open, write and save.
TEST_F(SettingsTest, UnusableFilesAreReportedOnceAndLeftAlone)
{
    const QByteArray valid = "[Software]\nVeloran\\PlaySound=0\n";
    const struct {
        QByteArray bytes;
        bool directory; // veloran.ini is a folder
        const char *reason;
        const char *legend;
    } cases[] = {
        {valid, false, "", "a good file"},
        {valid + "this is no setting\n", false, "it is not a valid settings file", "invalid"},
        {valid + QByteArray(CSettingsKey::kMaxFileBytes, ';'), false, "it is larger than 1 MB",
         "a valid file of more than 1 MB"},
        {{}, true, "it cannot be read", "a directory"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        Start(c.legend, c.bytes);
        if (c.directory) {
            ASSERT_TRUE(QDir().mkpath(File()));
        }
        for (int run = 0; run < 2; ++run) {
            CSettingsKey key;
            EXPECT_EQ(key.Open("Software/Veloran", true), *c.reason == '\0');
            key.WriteNumber("PlaySound", 1);
        }
        const std::string problem = CSettingsKey::TakeProblem();
        EXPECT_EQ(problem, *c.reason ? File().toStdString() + ": " + c.reason : "");
        EXPECT_EQ(CSettingsKey::TakeProblem(), "") << "told once";
        if (!c.directory && *c.reason) {
            EXPECT_EQ(Bytes(QFile(File())), c.bytes);
        }
    }
}

// The port of a fresh install is the receiver plugged in; a stored port, whatever it is, stays.
TEST_F(SettingsTest, FreshInstallGetsTheReceiverPluggedIn)
{
    CTempDir dir;
    CFakePortTree tree(dir.m_path);
    tree.AddBoardAndReceiver();
    const char *before = std::getenv("VELORAN_PORT_ROOT");
    const std::string saved = before != nullptr ? before : "";
    ::setenv("VELORAN_PORT_ROOT", tree.Root().c_str(), 1);

    struct Case {
        const char *legend;
        QByteArray ini;
        const char *port;
    } cases[] = {
        {"fresh", {}, "/dev/serial/by-id/usb-u-blox_AG_u-blox_GNSS_receiver-if00"},
        {"other values only", "[Software]\nVeloran\\SerialPort\\BaudRate=1\n",
         "/dev/serial/by-id/usb-u-blox_AG_u-blox_GNSS_receiver-if00"},
        {"stored COM name", "[Software]\nVeloran\\SerialPort\\ComPort=COM1:\n", "COM1:"},
        {"stored device", "[Software]\nVeloran\\SerialPort\\ComPort=/dev/ttyACM0\n",
         "/dev/ttyACM0"},
        {"stored empty", "[Software]\nVeloran\\SerialPort\\ComPort=\n", ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        Start(c.legend, c.ini);
        CSerialSettings settings;
        settings.Load();
        EXPECT_EQ(settings.GetPortName(), c.port);
        EXPECT_EQ(Bytes(QFile(File())), c.ini) << "loading writes nothing";
    }

    ::setenv("VELORAN_PORT_ROOT", (dir / "nothing").c_str(), 1);
    Start("nothing plugged in", {});
    CSerialSettings settings;
    settings.Load();
    EXPECT_EQ(settings.GetPortName(), CSerialSettings::kDefaultPortName);
    if (before != nullptr)
        ::setenv("VELORAN_PORT_ROOT", saved.c_str(), 1);
    else
        ::unsetenv("VELORAN_PORT_ROOT");
}

TEST(SerialPortName, MapsComNamesToTtyS)
{
    struct Case {
        const char *name, *device, *legend;
    };
    const Case cases[] = {
        {"COM1", "/dev/ttyS0", "stored name without colon"},
        {"com8:", "/dev/ttyS7", "typed in lower case, drop-down colon"},
        {"COM12", "/dev/ttyS11", "two digits"},
        {"COM0", "COM0", "there is no COM0"},
        {"COM01", "COM01", "leading zero"},
        {"/dev/ttyUSB0", "/dev/ttyUSB0", "device path"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(DevicePathForPort(c.name), c.device);
    }
}

// The speed the automatic baud rate locked on, per device, read back at the next start; names
// that differ only where a path has "/", "." or "_" stay apart, and the file holds each name as
// written (QSettings would escape anything else).
TEST_F(SettingsTest, LastSpeedsPerDevice)
{
    const std::string ublox =
        "/dev/serial/by-id/usb-u-blox_AG_-_www.u-blox.com_u-blox_7_-_GPS_GNSS_Receiver-if00";
    const struct {
        std::string device;
        int speed;
    } stored[] = {
        {ublox, 9600},       {"/dev/ttyUSB0", 4800}, {"/dev/ttyUSB0", 38400},
        {"/dev/a_b", 57600}, {"/dev/a/b", 115200},   {"/dev/a.b", 230400},
        {"COM3", 19200},     {"/dev/rfcomm0", 0},    {"", 4800},
    };
    Start("speeds", {});
    for (const auto &s : stored)
        StoreLastSpeed(s.device, s.speed);
    const QString first = File(); // the program's next start:
    Start("speeds-next", {});
    ASSERT_TRUE(QFile::copy(first, File()));

    const struct {
        std::string device;
        std::optional<int> speed;
        const char *legend;
    } cases[] = {
        {ublox, 9600, "a by-id name"},
        {"/dev/ttyUSB0", 38400, "the last one stored"},
        {"/dev/a_b", 57600, "underscore"},
        {"/dev/a/b", 115200, "slash"},
        {"/dev/a.b", 230400, "dot"},
        {"COM3", 19200, "a port name as given"},
        {"/dev/rfcomm0", std::nullopt, "0 is not stored"},
        {"/dev/ttyUSB1", std::nullopt, "never locked"},
        {"", std::nullopt, "no device"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(LoadLastSpeed(c.device), c.speed);
    }
    EXPECT_EQ(LastSpeedName("/dev/ttyUSB0"), ".2Fdev.2FttyUSB0");
    const QByteArray text = Bytes(QFile(File()));
    EXPECT_TRUE(text.contains(".2Fdev.2FttyUSB0=38400")) << text.toStdString();
    EXPECT_TRUE(text.contains("u-blox_AG_-_www.2Eu-blox.2Ecom_u-blox_7")) << text.toStdString();

    CSerialSettings serial; // the serial port's own values beside the speeds
    serial.Load();
    EXPECT_FALSE(serial.IsConfigured());
    EXPECT_EQ(serial.GetPortName(), "COM1");
}

TEST_F(SettingsTest, LastSpeedThatIsNoSpeed)
{
    Start("bad-speeds", "[Software]\n"
                        "Veloran\\SerialPort\\LastSpeeds\\.2Fdev.2FttyUSB0=fast\n"
                        "Veloran\\SerialPort\\LastSpeeds\\.2Fdev.2FttyUSB1=-9600\n"
                        "Veloran\\SerialPort\\LastSpeeds\\.2Fdev.2FttyUSB2=9600\n");
    EXPECT_EQ(LoadLastSpeed("/dev/ttyUSB0"), std::nullopt);
    EXPECT_EQ(LoadLastSpeed("/dev/ttyUSB1"), std::nullopt);
    EXPECT_EQ(LoadLastSpeed("/dev/ttyUSB2"), 9600);
}
