#include "FakePortTree.h"
#include "FileTestUtils.h"
#include "receiver/PortScanner.h"

#include <gtest/gtest.h>

namespace
{

constexpr const char *kUbloxById =
    "usb-u-blox_AG_-_www.u-blox.com_u-blox_7_-_GPS_GNSS_Receiver-if00";
constexpr const char *kProlificById =
    "usb-Prolific_Technology_Inc._USB-Serial_Controller-if00-port0";
constexpr const char *kFtdiById = "usb-FTDI_FT232R_USB_UART_A10KZ3B1-if00-port0";

// A desk with what people plug in: receivers, bridges of GPS mice, a board and an FTDI cable
// that are no receivers, a paired phone, and the ports of the mainboard as each kernel shows
// them.
void Furnish(CFakePortTree &tree)
{
    tree.AddUsb("ttyACM0", "1-2", "1546", "01a7", "u-blox AG - www.u-blox.com",
                "u-blox 7 - GPS/GNSS Receiver", kUbloxById);
    tree.AddUsb("ttyUSB0", "1-3", "067b", "2303", "Prolific Technology Inc.",
                "USB-Serial Controller", kProlificById);
    tree.AddUsb("ttyUSB1", "1-4", "0403", "6001", "FTDI", "FT232R USB UART", kFtdiById);
    tree.AddUsb("ttyUSB2", "1-5", "091e", "0003", "", "");
    tree.AddUsb("ttyUSB10", "1-6", "10c4", "ea60", "Silicon Labs",
                "CP2102 USB to UART Bridge Controller");
    tree.AddUsb("ttyACM1", "1-7", "2341", "0043", "Arduino (www.arduino.cc)", "Arduino Uno");
    tree.AddUsb("ttyACM3", "1-8", "1546", "01a9", "u-blox AG", "u-blox AG u-blox GNSS receiver");
    tree.AddBareNode("ttyACM2");
    tree.AddUart("ttyS0", false, true, 4);   // PnP UART, Linux 6.5 on
    tree.AddUart("ttyS1", true, true, 0);    // slot without a chip, Linux 6.5 on
    tree.AddUart("ttyS2", true, false, -1);  // slot without a chip, no type attribute
    tree.AddUart("ttyS3", false, false, -1); // PnP UART, no type attribute
    tree.AddUart("ttyS4", true, false, 4);   // ISA UART found by probing: real
    tree.AddBareNode("ttyS5");               // no sysfs: cannot tell, so not listed
    tree.AddUart("ttyS6", true, true, -1);   // slot without a chip behind serial-base, no type
    tree.AddUart("ttyS7", false, true, -1);  // PnP UART behind serial-base, no type
    tree.AddBluetooth("rfcomm0", "00:1A:7D:DA:71:13", 1);
    tree.AddBareNode("ttyUSB");   // no number
    tree.AddBareNode("ttyUSBa1"); // not a number
    tree.AddBareNode("console");
    tree.Write("dev/ttyUSB7", "a stale file, no device");
}

} // namespace

TEST(PortScannerTest, ListsWhatIsPluggedInLikelyReceiversFirst)
{
    CTempDir dir;
    CFakePortTree tree(dir.m_path);
    Furnish(tree);

    struct Expected {
        const char *device;
        std::string stableName;
        PortKind kind;
        const char *usb; // "vvvv:pppp", "" without
        const char *friendlyName;
        const char *likelyBecause;
    };
    const Expected expected[] = {
        {"/dev/ttyACM0", std::string("/dev/serial/by-id/") + kUbloxById, PortKind::UsbModem,
         "1546:01a7", "u-blox AG - www.u-blox.com u-blox 7 - GPS/GNSS Receiver",
         "u-blox GNSS receiver"},
        {"/dev/ttyACM3", "", PortKind::UsbModem, "1546:01a9", "u-blox AG u-blox GNSS receiver",
         "u-blox GNSS receiver"},
        {"/dev/ttyUSB2", "", PortKind::UsbSerial, "091e:0003", "Garmin GPS", "Garmin GPS"},
        {"/dev/ttyUSB0", std::string("/dev/serial/by-id/") + kProlificById, PortKind::UsbSerial,
         "067b:2303", "Prolific Technology Inc. USB-Serial Controller",
         "PL2303 USB-serial bridge, as in many GPS mice"},
        {"/dev/ttyUSB10", "", PortKind::UsbSerial, "10c4:ea60",
         "Silicon Labs CP2102 USB to UART Bridge Controller",
         "CP210x USB-serial bridge, as in many GPS receivers"},
        {"/dev/ttyACM1", "", PortKind::UsbModem, "2341:0043",
         "Arduino (www.arduino.cc) Arduino Uno", ""},
        {"/dev/ttyACM2", "", PortKind::UsbModem, "", "USB modem", ""},
        {"/dev/ttyUSB1", std::string("/dev/serial/by-id/") + kFtdiById, PortKind::UsbSerial,
         "0403:6001", "FTDI FT232R USB UART", ""},
        {"/dev/rfcomm0", "", PortKind::Bluetooth, "",
         "Bluetooth link to 00:1A:7D:DA:71:13, channel 1", ""},
        {"/dev/ttyS0", "", PortKind::Uart, "", "Serial port", ""},
        {"/dev/ttyS3", "", PortKind::Uart, "", "Serial port", ""},
        {"/dev/ttyS4", "", PortKind::Uart, "", "Serial port", ""},
        {"/dev/ttyS7", "", PortKind::Uart, "", "Serial port", ""},
    };

    const std::vector<CPortCandidate> ports = ScanPorts(tree.Roots());
    ASSERT_EQ(ports.size(), std::size(expected));
    for (std::size_t i = 0; i < ports.size(); ++i) {
        const CPortCandidate &port = ports[i];
        const Expected &want = expected[i];
        SCOPED_TRACE(want.device);
        EXPECT_EQ(port.device, want.device);
        EXPECT_EQ(port.path, tree.Root() + "/dev/" + (port.device.c_str() + 5));
        EXPECT_EQ(port.stableName, want.stableName);
        EXPECT_EQ(port.kind, want.kind);
        char usb[16] = "";
        if (port.usb)
            std::snprintf(usb, sizeof usb, "%04x:%04x", port.usb->vendorId, port.usb->productId);
        EXPECT_STREQ(usb, want.usb);
        EXPECT_EQ(port.friendlyName, want.friendlyName);
        EXPECT_EQ(port.likelyBecause, want.likelyBecause);
    }
    EXPECT_EQ(FirstLikelyReceiver(ports), std::string("/dev/serial/by-id/") + kUbloxById);
}

TEST(PortScannerTest, FirstLikelyReceiverByItsPlainNameWithoutStableOne)
{
    CTempDir dir;
    CFakePortTree tree(dir.m_path);
    tree.AddUsb("ttyUSB1", "1-3", "067b", "2303", "", "");
    tree.AddUsb("ttyACM0", "1-2", "2341", "0043", "Arduino (www.arduino.cc)", "Arduino Uno");
    EXPECT_EQ(FirstLikelyReceiver(ScanPorts(tree.Roots())), "/dev/ttyUSB1");

    CTempDir none;
    CFakePortTree empty(none.m_path);
    empty.AddUsb("ttyACM0", "1-2", "2341", "0043", "Arduino (www.arduino.cc)", "Arduino Uno");
    empty.AddUart("ttyS0", false, true, 4);
    EXPECT_EQ(FirstLikelyReceiver(ScanPorts(empty.Roots())), "");
}

TEST(PortScannerTest, NoTreeNoPorts)
{
    CTempDir dir;
    EXPECT_TRUE(ScanPorts(CPortRoots::Below(dir / "missing")).empty());
}

TEST(PortScannerTest, KindByName)
{
    const std::pair<const char *, std::optional<PortKind>> cases[] = {
        {"/dev/ttyUSB0", PortKind::UsbSerial},
        {"ttyACM12", PortKind::UsbModem},
        {"/dev/ttyS0", PortKind::Uart},
        {"/dev/rfcomm3", PortKind::Bluetooth},
        {"/dev/ttyUSB", std::nullopt},
        {"/dev/ttyS0x", std::nullopt},
        {"/dev/pts/3", std::nullopt},
        {"COM1", std::nullopt},
        {"/dev/serial/by-id/usb-x-if00", std::nullopt},
    };
    for (const auto &[name, kind] : cases)
        EXPECT_EQ(PortKindOfDevice(name), kind) << name;
}

TEST(PortScannerTest, DevicePathBelowTheRoot)
{
    const CPortRoots roots = CPortRoots::Below("/tmp/tree");
    EXPECT_EQ(roots.DevicePath("/dev/ttyUSB0"), "/tmp/tree/dev/ttyUSB0");
    EXPECT_EQ(roots.DevicePath("/dev/serial/by-id/x"), "/tmp/tree/dev/serial/by-id/x");
    EXPECT_EQ(roots.DevicePath("/tmp/other/ttyUSB0"), "/tmp/other/ttyUSB0");
    EXPECT_EQ(CPortRoots().DevicePath("/dev/ttyUSB0"), "/dev/ttyUSB0");
}
