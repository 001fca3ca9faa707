#pragma once

#include "receiver/PortScanner.h"

#include <QDialog>

#include <vector>

class CSerialSettings;
class QComboBox;

/// "Open Serial Port": edits the receiver's port settings; OK stores and saves them. The port
/// list holds the serial ports plugged in, each by its stable name with its friendly name;
/// choosing one puts its stable name in the field, which is what is stored.
class CSerialPortDialog : public QDialog
{
    Q_OBJECT

public:
    explicit CSerialPortDialog(CSerialSettings &settings, QWidget *parent = nullptr);

    void accept() override;

private:
    void RestoreDefaults();

    CSerialSettings &m_settings;
    std::vector<CPortCandidate> m_ports;
    QComboBox *m_port = nullptr;
    QComboBox *m_baudRate = nullptr;
    QComboBox *m_protocol = nullptr;
    QComboBox *m_parity = nullptr;
    QComboBox *m_stopBits = nullptr;
    QComboBox *m_byteSize = nullptr;
    QComboBox *m_chipset = nullptr;
};
