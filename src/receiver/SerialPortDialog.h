#pragma once

#include "receiver/PortScanner.h"
#include "receiver/SourceAddress.h"

#include <QDialog>

#include <array>
#include <optional>
#include <vector>

class CSerialSettings;
class QComboBox;
class QGroupBox;
class QLineEdit;
class QPushButton;
class QSpinBox;

/// "Open Serial Port": edits the receiver's source and port settings; OK stores and saves them.
/// The source is a serial port (the port settings, with "auto" as a speed to be found), gpsd, a
/// TCP device, a TCP listener or UDP; all but a serial port at a fixed speed are stored as the
/// Source URL, which a plain serial port clears. The port list holds the serial ports plugged
/// in, each by its stable name with its friendly name; choosing one puts its stable name in the
/// field, which is what is stored, and makes the speed "auto".
class CSerialPortDialog : public QDialog
{
    Q_OBJECT

public:
    explicit CSerialPortDialog(CSerialSettings &settings, QWidget *parent = nullptr);

    void accept() override;

    /// The entries of the "Source:" list, in order.
    static constexpr std::array<SourceKind, 5> kSourceKinds{SourceKind::Serial, SourceKind::Gpsd,
                                                            SourceKind::Tcp, SourceKind::TcpListen,
                                                            SourceKind::Udp};

private:
    void RestoreDefaults();
    void ShowSource(int index);
    void TakeStoredSource(const CSourceAddress &source);
    // The source the fields say, or why they say none.
    [[nodiscard]] std::optional<CSourceAddress> SourceOfFields(std::string &error) const;

    CSerialSettings &m_settings;
    std::vector<CPortCandidate> m_ports;
    QComboBox *m_port = nullptr;
    QComboBox *m_baudRate = nullptr;
    QComboBox *m_protocol = nullptr;
    QComboBox *m_parity = nullptr;
    QComboBox *m_stopBits = nullptr;
    QComboBox *m_byteSize = nullptr;
    QComboBox *m_chipset = nullptr;
    QComboBox *m_source = nullptr;
    QGroupBox *m_serialGroup = nullptr;
    QGroupBox *m_advancedGroup = nullptr;
    QGroupBox *m_networkGroup = nullptr;
    QLineEdit *m_host = nullptr;
    QSpinBox *m_netPort = nullptr;
    QPushButton *m_defaults = nullptr;
    QLineEdit *m_device = nullptr;
};
