#include "FakePortTree.h"
#include "FileTestUtils.h"
#include "receiver/LogSettings.h"
#include "receiver/LogSettingsDialog.h"
#include "receiver/RecordingRules.h"
#include "receiver/SerialPortDialog.h"
#include "receiver/SerialSettings.h"
#include "settings/SettingsKey.h"
#include "settings/SettingsTable.h"
#include "ui/UiTestUtils.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>

#include <stdexcept>

namespace
{

using LogValues = std::array<std::int32_t, 6>; // GGA RMC GSA GSV VTG others, -1 = missing

template <class T> T &Child(QObject &dialog, const std::string &name)
{
    if (T *child = dialog.findChild<T *>(QString::fromStdString(name)))
        return *child;
    throw std::runtime_error("no child " + name);
}
QComboBox &Combo(QObject &d, const std::string &name)
{
    return Child<QComboBox>(d, name);
}
QCheckBox &Box(QObject &d, const std::string &name)
{
    return Child<QCheckBox>(d, name);
}
void Click(QObject &d, const std::string &name)
{
    Child<QPushButton>(d, name).click();
}

LogValues StoredLogValues()
{
    LogValues values;
    values.fill(-1);
    CSettingsKey key;
    key.Open(kLogSettingsKey, false);
    for (std::size_t i = 0; i < values.size(); ++i)
        key.ReadNumber(kRecordingValues[i].name, values[i]);
    return values;
}

} // namespace

class DialogTest : public CUiTest
{
};

TEST_F(DialogTest, SerialDefaultLeavesTheLineIndices)
{
    CSerialSettings settings;
    settings.SetPortName("/dev/ttyUSB0");
    settings.SetBaudRateIndex(5);
    settings.SetChipsetIndex(2);
    settings.SetParityIndex(3);
    settings.SetStopBitIndex(2);
    settings.SetByteSizeIndex(1);
    CSerialPortDialog dialog(settings);
    EXPECT_FALSE(Combo(dialog, "parity").isEnabled());

    Click(dialog, "defaultButton");
    Click(dialog, "okButton");

    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    EXPECT_EQ((std::array{settings.GetParityIndex(), settings.GetStopBitIndex(),
                          settings.GetByteSizeIndex()}),
              (std::array{3, 2, 1}));
    CSerialSettings stored;
    stored.Load();
    EXPECT_TRUE(stored.IsConfigured());
    EXPECT_EQ(stored.GetPortName(), "COM1:");
    EXPECT_EQ(stored.GetBaudRateIndex(), 0);
    EXPECT_EQ(stored.GetChipsetIndex(), 0);
}

TEST_F(DialogTest, SerialPortTextIsStoredAsShownOrTyped)
{
    struct Case {
        const char *current;
        const char *typed; // nullptr: leave the shown text
        const char *stored;
    } cases[] = {{"COM1", nullptr, "COM1"},
                 {"COM1:", "/dev/ttyUSB7", "/dev/ttyUSB7"},
                 {"/dev/ttyACM0", "COM3:", "COM3:"},
                 {"COM1", " /dev/rfcomm0 ", "/dev/rfcomm0"}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.stored);
        CSerialSettings settings;
        settings.SetPortName(c.current);
        CSerialPortDialog dialog(settings);
        if (c.typed != nullptr)
            Combo(dialog, "port").setEditText(c.typed);
        Combo(dialog, "baudRate").setCurrentIndex(9);
        Combo(dialog, "chipset").setCurrentIndex(CSerialSettings::kChipsetSirf);
        dialog.accept();

        CSerialSettings stored;
        stored.Load();
        EXPECT_EQ(stored.GetPortName(), c.stored);
        EXPECT_EQ(stored.GetBaudRate(), 256000);
        EXPECT_EQ(stored.GetChipsetIndex(), CSerialSettings::kChipsetSirf);
    }
}

// Every kind of source from its fields to the stored URL, and back into the fields the next time;
// a serial port at a fixed speed clears the URL and keeps the design's settings.
TEST_F(DialogTest, SourceTypesStoreTheirUrl)
{
    const struct {
        int kind; // index in the "Source:" list
        const char *host;
        int port;
        const char *device;
        int baud; // serial: baud-rate index, 10 for auto
        const char *stored;
    } cases[] = {
        {0, "", 0, "", 3, ""},
        {0, "", 0, "", 10, "serial:/dev/ttyUSB3?baud=auto"},
        {1, "localhost", 2947, "", 0, "gpsd://localhost:2947"},
        {1, "127.0.0.2", 3000, "/dev/ttyACM0", 0, "gpsd://127.0.0.2:3000/dev/ttyACM0"},
        {2, "127.0.0.3", 10110, "", 0, "tcp://127.0.0.3:10110"},
        {3, "", 5000, "", 0, "tcp-listen://:5000"},
        {4, "", 10110, "", 0, "udp://:10110"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.stored);
        CSerialSettings settings;
        settings.SetPortName("/dev/ttyUSB3");
        {
            CSerialPortDialog dialog(settings);
            Combo(dialog, "source").setCurrentIndex(c.kind);
            if (c.kind == 0) {
                Combo(dialog, "baudRate").setCurrentIndex(c.baud);
            } else {
                Child<QLineEdit>(dialog, "host").setText(c.host);
                Child<QSpinBox>(dialog, "netPort").setValue(c.port);
                Child<QLineEdit>(dialog, "gpsdDevice").setText(c.device);
            }
            EXPECT_EQ(Child<QGroupBox>(dialog, "network").isVisibleTo(&dialog), c.kind != 0);
            dialog.accept();
            EXPECT_EQ(dialog.result(), QDialog::Accepted);
        }
        CSettingsKey key;
        ASSERT_TRUE(key.Open(kSourceSetting.key, false));
        EXPECT_EQ(key.ReadText(kSourceSetting.name, "?"), c.stored);
        CSerialPortDialog again(settings);
        EXPECT_EQ(Combo(again, "source").currentIndex(), c.kind);
        if (c.kind == 0)
            EXPECT_EQ(Combo(again, "baudRate").currentIndex(),
                      c.baud == 10 ? 10 : settings.GetBaudRateIndex());
        else
            EXPECT_EQ(Child<QSpinBox>(again, "netPort").value(), c.port);
    }
    // A TCP device needs a host: refused with the reason, nothing stored, the dialog stays.
    CSerialSettings settings;
    CSerialPortDialog dialog(settings);
    Combo(dialog, "source").setCurrentIndex(2);
    Child<QLineEdit>(dialog, "host").setText("");
    m_messages.clear();
    dialog.accept();
    EXPECT_NE(dialog.result(), QDialog::Accepted);
    ASSERT_EQ(m_messages.size(), 1U);
    EXPECT_TRUE(m_messages[0].text.contains("needs a host"));
    CSettingsKey key;
    ASSERT_TRUE(key.Open(kSourceSetting.key, false));
    EXPECT_EQ(key.ReadText(kSourceSetting.name, "?"), "udp://:10110") << "the last one stays";
}

// The list names each port plugged in by its stable name and what it is; the field and the
// settings get the name alone.
TEST_F(DialogTest, SerialPortListShowsThePortsPluggedIn)
{
    CTempDir dir;
    CFakePortTree tree(dir.m_path);
    tree.AddBoardAndReceiver();
    const QByteArray saved = qgetenv("VELORAN_PORT_ROOT");
    qputenv("VELORAN_PORT_ROOT", QByteArray::fromStdString(tree.Root()));
    const QString ublox = "/dev/serial/by-id/usb-u-blox_AG_u-blox_GNSS_receiver-if00";

    CSerialSettings settings;
    settings.SetPortName(ublox.toStdString());
    CSerialPortDialog dialog(settings);
    QComboBox &port = Combo(dialog, "port");
    ASSERT_EQ(port.count(), 2);
    EXPECT_EQ(port.itemText(0), ublox + " (/dev/ttyACM1) - u-blox AG u-blox GNSS receiver");
    EXPECT_EQ(port.itemText(1), "/dev/ttyACM0 - Arduino (www.arduino.cc) Arduino Uno");
    EXPECT_EQ(port.currentIndex(), 0) << "the stored port is the one chosen";
    EXPECT_EQ(port.currentText(), ublox);

    port.setCurrentIndex(1);
    EXPECT_EQ(port.currentText(), "/dev/ttyACM0");
    emit port.activated(1); // chosen again from the list
    EXPECT_EQ(port.currentText(), "/dev/ttyACM0");
    Click(dialog, "defaultButton");
    EXPECT_EQ(port.currentText(), ublox) << "the port of a fresh install";
    Click(dialog, "okButton");
    EXPECT_EQ(settings.GetPortName(), ublox.toStdString());

    settings.SetPortName("COM2:");
    CSerialPortDialog typed(settings);
    EXPECT_EQ(Combo(typed, "port").currentIndex(), -1);
    EXPECT_EQ(Combo(typed, "port").currentText(), "COM2:");
    qputenv("VELORAN_PORT_ROOT", saved);
}

TEST_F(DialogTest, LogProfileStoresItsRates)
{
    const std::pair<int, LogValues> cases[] = {{kProfileFull, {1, 1, 1, 1, 1, 1}},
                                               {kProfileModerate, {4, 4, 8, 8, 0, 0}},
                                               {kProfileLow, {8, 8, 16, 16, 0, 0}}};
    for (const auto &[profile, stored] : cases) {
        SCOPED_TRACE(profile);
        CRecordingRules rules;
        for (int type = 0; type < kSentenceTypeCount; ++type)
            rules.SetRate(type, 2);
        CLogSettingsDialog dialog(rules);
        Combo(dialog, "profile").setCurrentIndex(profile);
        emit Combo(dialog, "profile").activated(profile);

        // A profile that turns VTG off leaves its rate text alone.
        const bool vtgOn = stored[4] != 0;
        EXPECT_EQ(Combo(dialog, "rateVTG").isEnabled(), vtgOn);
        EXPECT_EQ(Combo(dialog, "rateVTG").currentText(), vtgOn ? "1" : "2");
        Click(dialog, "okButton");
        EXPECT_EQ(StoredLogValues(), stored);
    }
}

TEST_F(DialogTest, LogUncheckedTypeStoresRateZero)
{
    const char *boxes[] = {"checkGGA", "checkRMC", "checkGSA",
                           "checkGSV", "checkVTG", "checkOthers"};
    for (std::size_t off = 0; off < std::size(boxes); ++off) {
        SCOPED_TRACE(boxes[off]);
        CRecordingRules rules;
        CLogSettingsDialog dialog(rules);
        Box(dialog, boxes[off]).setChecked(false);
        dialog.accept();

        LogValues expected;
        expected.fill(1);
        expected[off] = 0;
        EXPECT_EQ(StoredLogValues(), expected);
    }
}

TEST_F(DialogTest, LogRateDropDownsFollowTheBoxes)
{
    CRecordingRules rules;
    rules.SetEnabled(kSentenceGSA, false);
    rules.SetRate(kSentenceGSV, 0);
    rules.SetRate(kSentenceRMC, 3); // not one of the choices
    rules.SetRate(kSentenceGGA, 16);
    CLogSettingsDialog dialog(rules);
    const std::tuple<const char *, bool, const char *> shown[] = {{"rateGGA", true, "16"},
                                                                  {"rateRMC", true, "3"},
                                                                  {"rateGSA", false, "1"},
                                                                  {"rateGSV", false, "1"},
                                                                  {"rateVTG", true, "1"}};
    for (const auto &[name, enabled, text] : shown) {
        EXPECT_EQ(Combo(dialog, name).isEnabled(), enabled) << name;
        EXPECT_EQ(Combo(dialog, name).currentText(), text) << name;
    }

    Box(dialog, "checkGSA").setChecked(true);
    Box(dialog, "checkVTG").setChecked(false);
    EXPECT_TRUE(Combo(dialog, "rateGSA").isEnabled());
    EXPECT_FALSE(Combo(dialog, "rateVTG").isEnabled());
    Combo(dialog, "rateGSA").setCurrentText("8");
    dialog.accept();
    EXPECT_EQ(StoredLogValues(), (LogValues{16, 3, 8, 0, 0, 1}));
}

TEST_F(DialogTest, CancelWritesNothing)
{
    CSerialSettings settings;
    CSerialPortDialog serial(settings);
    Combo(serial, "port").setEditText("/dev/ttyUSB1");
    Combo(serial, "baudRate").setCurrentIndex(3);
    Click(serial, "cancelButton");
    EXPECT_EQ(settings.GetPortName(), "COM1:");
    CSerialSettings stored;
    stored.Load();
    EXPECT_FALSE(stored.IsConfigured());

    CRecordingRules rules;
    CLogSettingsDialog log(rules);
    Box(log, "checkGGA").setChecked(false);
    Click(log, "cancelButton");
    EXPECT_TRUE(rules.IsEnabled(kSentenceGGA));
    EXPECT_EQ(StoredLogValues(), (LogValues{-1, -1, -1, -1, -1, -1}));
}
