#include "app/SettingsKey.h"
#include "receiver/SerialSettings.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <cstdint>
#include <gtest/gtest.h>
#include <string>

namespace
{

constexpr std::string_view kTestKey = "Software/Veloran/Test";

class SettingsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        CSettingsKey::SetConfigDirectory(m_dir.path().toStdString());
    }
    static QString File() { return QString::fromStdString(CSettingsKey::GetSettingsFile()); }
    static void WriteFile(const QByteArray &bytes)
    {
        QFile file(File());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    static QByteArray ReadFile()
    {
        QFile file(File());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    static QString Stored(const QString &key)
    {
        return QSettings(File(), QSettings::IniFormat).value(key).toString();
    }
    // The program's next start. QSettings keeps one parsed copy of a file per path inside a
    // process; a copy at a new path is read from the disk.
    void NextRun()
    {
        const QString previous = File();
        CSettingsKey::SetConfigDirectory(m_dir.filePath(QString::number(++m_runs)).toStdString());
        ASSERT_TRUE(QFile::copy(previous, File()));
    }

    QTemporaryDir m_dir;
    int m_runs = 0;
};

} // namespace

TEST_F(SettingsTest, ValuesRoundTripThroughTheFile)
{
    const std::int32_t numbers[] = {0, -1, INT32_MIN, INT32_MAX};
    const std::string texts[] = {"",           "COM3:",    "a,b, c",     "x=1;y [z] \"q\" \\ #",
                                 "Größe 東京", " padded ", "@Variant(0)"};
    const double doubles[] = {0.1, 1.0 / 3, -1e-300, 4.9e-324, 1.7976931348623157e308};
    const std::array<int, 3> colors[] = {{0, 0, 0}, {255, 128, 1}};
    const auto name = [](char kind, std::size_t i) { return kind + std::to_string(i); };
    {
        CSettingsKey key;
        ASSERT_TRUE(key.Open(kTestKey, true));
        for (std::size_t i = 0; i < std::size(numbers); ++i)
            key.WriteNumber(name('N', i), numbers[i]);
        for (std::size_t i = 0; i < std::size(texts); ++i)
            key.WriteText(name('T', i), texts[i]);
        for (std::size_t i = 0; i < std::size(doubles); ++i)
            key.WriteDouble(name('D', i), doubles[i]);
        for (std::size_t i = 0; i < std::size(colors); ++i)
            key.WriteColor(name('C', i), colors[i]);
    }
    NextRun();
    CSettingsKey key;
    ASSERT_TRUE(key.Open(kTestKey, false));
    for (std::size_t i = 0; i < std::size(numbers); ++i) {
        SCOPED_TRACE(numbers[i]);
        std::int32_t value = 7;
        EXPECT_TRUE(key.ReadNumber(name('N', i), value));
        EXPECT_EQ(value, numbers[i]);
        EXPECT_EQ(Stored(QStringLiteral("Software/Veloran/Test/N%1").arg(i)),
                  QString::number(numbers[i]));
    }
    for (std::size_t i = 0; i < std::size(texts); ++i) {
        SCOPED_TRACE("[" + texts[i] + "]");
        EXPECT_EQ(key.ReadText(name('T', i), "fallback"), texts[i]);
        EXPECT_EQ(Stored(QStringLiteral("Software/Veloran/Test/T%1").arg(i)).toStdString(),
                  texts[i]);
    }
    for (std::size_t i = 0; i < std::size(doubles); ++i) {
        SCOPED_TRACE(doubles[i]);
        double value = 7;
        EXPECT_TRUE(key.ReadDouble(name('D', i), value));
        EXPECT_EQ(value, doubles[i]);
    }
    for (std::size_t i = 0; i < std::size(colors); ++i) {
        SCOPED_TRACE(colors[i][1]);
        std::array<int, 3> value{7, 7, 7};
        EXPECT_TRUE(key.ReadColor(name('C', i), value));
        EXPECT_EQ(value, colors[i]);
    }
}

TEST_F(SettingsTest, ReadsOnlyValuesOfTheRightKind)
{
    struct Case {
        const char *legend;
        const char *iniValue; // as a user's editor may leave it
        bool isNumber;
        std::int32_t number;
        bool isDouble;
        bool isColor;
    };
    const Case cases[] = {
        {"integer", "42", true, 42, true, false},
        {"negative integer", "-7", true, -7, true, false},
        {"trailing garbage", "12abc", false, 0, false, false},
        {"decimal fraction", "1.5", false, 0, true, false},
        {"beyond 32 bits", "2147483648", false, 0, true, false},
        {"plus sign", "+5", false, 0, false, false},
        {"hexadecimal", "0x10", false, 0, false, false},
        {"quoted blank before the digits", "\" 7\"", false, 0, false, false},
        {"empty", "", false, 0, false, false},
        {"unquoted colour: QSettings reads a list", "10,20,30", false, 0, false, true},
        {"quoted colour with blanks", "\"10, 20, 30\"", false, 0, false, true},
        {"colour component above 255", "10,20,256", false, 0, false, false},
        {"negative colour component", "-1,0,0", false, 0, false, false},
        {"two components", "10,20", false, 0, false, false},
    };
    QByteArray ini = "[Software]\n";
    for (std::size_t i = 0; i < std::size(cases); ++i)
        ini += "Veloran\\Test\\V" + QByteArray::number(i) + "=" + cases[i].iniValue + "\n";
    WriteFile(ini);

    CSettingsKey key;
    ASSERT_TRUE(key.Open(kTestKey, false));
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const Case &c = cases[i];
        SCOPED_TRACE(c.legend);
        const std::string name = "V" + std::to_string(i);
        std::int32_t number = -99;
        EXPECT_EQ(key.ReadNumber(name, number), c.isNumber);
        EXPECT_EQ(number, c.isNumber ? c.number : -99);
        double real = -99;
        EXPECT_EQ(key.ReadDouble(name, real), c.isDouble);
        std::array<int, 3> rgb{-9, -9, -9};
        EXPECT_EQ(key.ReadColor(name, rgb), c.isColor);
    }
}

TEST_F(SettingsTest, MissingKeyOpensOnlyWithCreate)
{
    {
        CSettingsKey other;
        ASSERT_TRUE(other.Open(kTestKey, true));
        other.WriteNumber("Present", 1);
    }
    CSettingsKey missing;
    EXPECT_FALSE(missing.Open("Software/Veloran/Missing", false));
    missing.WriteNumber("Value", 5);
    std::int32_t value = 3;
    EXPECT_FALSE(missing.ReadNumber("Value", value));
    EXPECT_EQ(value, 3);
    EXPECT_EQ(missing.ReadText("Value", "default"), "default");

    CSettingsKey present;
    ASSERT_TRUE(present.Open(kTestKey, false));
    EXPECT_FALSE(present.ReadNumber("Absent", value));
    EXPECT_EQ(value, 3);

    CSettingsKey created;
    ASSERT_TRUE(created.Open("Software\\Veloran\\Missing", true));
    created.WriteNumber("Value", 5);
    created.Open(kTestKey, false); // leaving the key writes the file
    NextRun();
    EXPECT_EQ(Stored("Software/Veloran/Missing/Value"), "5");
}

TEST_F(SettingsTest, BrokenFileGivesDefaultsAndIsLeftAlone)
{
    struct Case {
        const char *legend;
        QByteArray bytes;
    };
    const QByteArray valid = "[Software]\nVeloran\\SerialPort\\BaudRate=3\n";
    const Case cases[] = {
        {"binary garbage", valid + QByteArray("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\xff\xfe", 18)},
        {"section header without ]", "[Software\nVeloran\\SerialPort\\BaudRate=3\n"},
        {"line without =", valid + "this is no setting\n"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        WriteFile(c.bytes);
        CSettingsKey key;
        EXPECT_FALSE(key.Open(CSerialSettings::kKey, false));
        EXPECT_FALSE(key.Open(CSerialSettings::kKey, true));
        CSerialSettings settings;
        settings.SetBaudRateIndex(5);
        settings.Save();
        settings.Load();
        EXPECT_EQ(settings.GetBaudRateIndex(), 0);
        EXPECT_FALSE(settings.IsConfigured());
        EXPECT_EQ(ReadFile(), c.bytes);
    }
}

// Permission bits do not stop root, who runs the tests; a directory below a regular file cannot
// be made by anyone.
TEST_F(SettingsTest, UnwritableLocationMakesWritesNoOps)
{
    WriteFile("a regular file");
    CSettingsKey::SetConfigDirectory((File() + "/Veloran").toStdString());
    CSettingsKey key;
    EXPECT_FALSE(key.Open("Software/Veloran/New", true));
    key.WriteNumber("Value", 1);
    CSerialSettings settings;
    settings.SetPortName("/dev/ttyUSB3");
    settings.Save();
    EXPECT_TRUE(settings.IsConfigured());
    settings.Load();
    EXPECT_EQ(settings.GetPortName(), "COM1");
    EXPECT_FALSE(settings.IsConfigured());
    EXPECT_FALSE(QFileInfo::exists(File()));
}

TEST_F(SettingsTest, SerialSettingsLoadSaveAndDefault)
{
    CSerialSettings settings;
    settings.Load();
    EXPECT_EQ(settings.GetPortName(), "COM1");
    EXPECT_EQ(settings.GetBaudRate(), 4800);
    EXPECT_FALSE(settings.IsConfigured());

    settings.SetPortName("COM4:");
    settings.SetBaudRateIndex(9);
    settings.SetChipsetIndex(CSerialSettings::kChipsetSirf);
    settings.SetParityIndex(2);
    settings.Save();
    EXPECT_TRUE(settings.IsConfigured());

    NextRun();
    EXPECT_EQ(Stored("Software/Veloran/SerialPort/ComPort"), "COM4:");
    CSerialSettings next;
    next.Load();
    EXPECT_EQ(next.GetPortName(), "COM4:");
    EXPECT_EQ(next.GetBaudRate(), 256000);
    EXPECT_EQ(next.GetChipsetIndex(), CSerialSettings::kChipsetSirf);
    EXPECT_EQ(next.GetParityIndex(), 0);
    EXPECT_TRUE(next.IsConfigured());

    next.SetStopBitIndex(1);
    next.SetByteSizeIndex(1);
    next.SetParityIndex(3);
    next.SetDefaults();
    EXPECT_EQ(next.GetPortName(), "COM1:");
    EXPECT_EQ(next.GetBaudRateIndex(), 0);
    EXPECT_EQ(next.GetChipsetIndex(), 0);
    EXPECT_EQ(next.GetParityIndex(), 3);
    EXPECT_EQ(next.GetStopBitIndex(), 1);
    EXPECT_EQ(next.GetByteSizeIndex(), 1);
}

TEST_F(SettingsTest, StoredBaudRateIndexOutsideTheTableOpensAtTheFirstRate)
{
    struct Case {
        const char *legend;
        const char *stored;
        std::int32_t index;
        int rate;
        bool configured;
    };
    const Case cases[] = {
        {"last entry", "9", 9, 256000, true},
        {"one past the table", "10", 0, 4800, true},
        {"negative", "-1", 0, 4800, true},
        {"not a number: as if missing", "fast", 0, 4800, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        WriteFile(QByteArray("[Software]\nVeloran\\SerialPort\\BaudRate=") + c.stored + "\n");
        CSerialSettings settings;
        settings.Load();
        EXPECT_EQ(settings.GetBaudRateIndex(), c.index);
        EXPECT_EQ(settings.GetBaudRate(), c.rate);
        EXPECT_EQ(settings.IsConfigured(), c.configured);
    }
}

TEST(SerialPortName, MapsComNamesToTtyS)
{
    struct Case {
        const char *legend;
        const char *name;
        const char *device;
    };
    const Case cases[] = {
        {"stored name without colon", "COM1", "/dev/ttyS0"},
        {"drop-down entry", "COM3:", "/dev/ttyS2"},
        {"typed in lower case", "com8:", "/dev/ttyS7"},
        {"two digits", "COM12", "/dev/ttyS11"},
        {"there is no COM0", "COM0", "COM0"},
        {"leading zero", "COM01", "COM01"},
        {"no number", "COMx", "COMx"},
        {"just the prefix", "COM:", "COM:"},
        {"two colons", "COM3::", "COM3::"},
        {"device path", "/dev/ttyUSB0", "/dev/ttyUSB0"},
        {"pseudo-terminal", "/dev/pts/4", "/dev/pts/4"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(DevicePathForPort(c.name), c.device);
    }
}
