#pragma once

#include "PtyPair.h"
#include "receiver/PortScanner.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <vector>

/// sys, dev, proc and run/lock as the kernel and udev lay them out, below a folder of the test's
/// own. Each device node is a link to the slave of a pseudo-terminal the tree owns; proc is a
/// link to the real /proc, so the processes holding a device are the real ones.
class CFakePortTree
{
public:
    explicit CFakePortTree(std::string root)
        : m_root(std::move(root))
    {
        namespace fs = std::filesystem;
        for (const char *folder :
             {"sys/class/tty", "sys/bus/serial-base", "sys/bus/pnp/drivers/serial",
              "sys/bus/platform/drivers/serial8250", "dev/serial/by-id", "run/lock"})
            fs::create_directories(m_root + "/" + folder);
        fs::create_directory_symlink("/proc", m_root + "/proc");
    }

    [[nodiscard]] CPortRoots Roots() const { return CPortRoots::Below(m_root); }
    [[nodiscard]] const std::string &Root() const { return m_root; }

    /// A USB device at bus position `busPort` (1-2) with its tty: ttyACM below the interface,
    /// ttyUSB below a usb-serial port of the interface. Empty strings leave attributes out.
    /// A board that is no receiver first, then a u-blox receiver with its stable name.
    void AddBoardAndReceiver()
    {
        AddUsb("ttyACM0", "1-2", "2341", "0043", "Arduino (www.arduino.cc)", "Arduino Uno");
        AddUsb("ttyACM1", "1-3", "1546", "01a8", "u-blox AG", "u-blox GNSS receiver",
               "usb-u-blox_AG_u-blox_GNSS_receiver-if00");
    }
    CPtyPair &AddUsb(const std::string &name, const std::string &busPort, const char *vendorId,
                     const char *productId, const std::string &manufacturer,
                     const std::string &product, const std::string &byId = {})
    {
        const std::string usbDevice = "sys/devices/pci0000:00/0000:00:14.0/usb1/" + busPort;
        Write(usbDevice + "/idVendor", vendorId);
        Write(usbDevice + "/idProduct", productId);
        if (!manufacturer.empty())
            Write(usbDevice + "/manufacturer", manufacturer);
        if (!product.empty())
            Write(usbDevice + "/product", product);
        const std::string interface = usbDevice + "/" + busPort + ":1.0";
        const bool acm = name.starts_with("ttyACM");
        const std::string device = acm ? interface : interface + "/" + name;
        AddTty(name, device + "/tty/" + name, device);
        return AddNode(name, byId);
    }

    /// A port of the board. `serialBase`: as Linux 6.5 on lays it out, the tty below a
    /// serial-base controller and port; `type` < 0 leaves the attribute out.
    CPtyPair &AddUart(const std::string &name, bool placeholder, bool serialBase, int type)
    {
        const std::string number = name.substr(4);
        std::string hardware =
            placeholder ? "sys/devices/platform/serial8250" : "sys/devices/pnp0/00:0" + number;
        Link(hardware + "/driver",
             placeholder ? "sys/bus/platform/drivers/serial8250" : "sys/bus/pnp/drivers/serial");
        std::string device = hardware;
        if (serialBase) {
            const std::string controller =
                hardware + "/" + (placeholder ? "serial8250:0" : "00:0" + number + ":0");
            device = controller + "/"
                     + (placeholder ? "serial8250:0." + number : "00:0" + number + ":0.0");
            Link(controller + "/subsystem", "sys/bus/serial-base");
            Link(device + "/subsystem", "sys/bus/serial-base");
        }
        const std::string tty = device + "/tty/" + name;
        AddTty(name, tty, device);
        if (type >= 0)
            Write(tty + "/type", std::to_string(type));
        return AddNode(name);
    }

    /// A bound rfcomm link: a virtual tty that carries the remote address and channel.
    CPtyPair &AddBluetooth(const std::string &name, const std::string &address, int channel)
    {
        const std::string tty = "sys/devices/virtual/tty/" + name;
        Write(tty + "/address", address);
        Write(tty + "/channel", std::to_string(channel));
        Link("sys/class/tty/" + name, tty);
        return AddNode(name);
    }

    /// A device node without anything in sys, as in a container.
    CPtyPair &AddBareNode(const std::string &name) { return AddNode(name); }

    /// Makes the tree readable for another user (the folder of a test is 0700).
    void OpenToAll() const
    {
        namespace fs = std::filesystem;
        ::chmod(m_root.c_str(), 0755);
        for (const auto &entry : fs::recursive_directory_iterator(m_root)) {
            if (!entry.is_symlink())
                ::chmod(entry.path().c_str(), entry.is_directory() ? 0755 : 0644);
        }
    }

    void Write(const std::string &relative, const std::string &text) const
    {
        const std::filesystem::path file = m_root + "/" + relative;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << text << '\n';
    }

    /// A relative link at `relative` to `target` (both below the root), as sysfs and udev make
    /// them.
    void Link(const std::string &relative, const std::string &target) const
    {
        namespace fs = std::filesystem;
        const fs::path link = m_root + "/" + relative;
        if (fs::is_symlink(fs::symlink_status(link)))
            return; // ports of one controller share its links
        fs::create_directories(link.parent_path());
        fs::create_directories(m_root + "/" + target);
        fs::create_symlink(fs::path(m_root + "/" + target).lexically_relative(link.parent_path()),
                           link);
    }

private:
    void AddTty(const std::string &name, const std::string &tty, const std::string &device)
    {
        std::filesystem::create_directories(m_root + "/" + tty);
        Link("sys/class/tty/" + name, tty);
        Link(tty + "/device", device);
    }

    CPtyPair &AddNode(const std::string &name, const std::string &byId = {})
    {
        m_ptys.push_back(std::make_unique<CPtyPair>());
        std::filesystem::create_symlink(m_ptys.back()->SlavePath(), m_root + "/dev/" + name);
        if (!byId.empty())
            std::filesystem::create_symlink("../../" + name, m_root + "/dev/serial/by-id/" + byId);
        return *m_ptys.back();
    }

    std::string m_root;
    std::vector<std::unique_ptr<CPtyPair>> m_ptys;
};
