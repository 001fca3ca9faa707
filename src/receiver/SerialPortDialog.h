#pragma once

#include <QDialog>

class CSerialSettings;
class QComboBox;

/// "Open Serial Port": edits the receiver's port settings; OK stores and saves them.
class CSerialPortDialog : public QDialog
{
    Q_OBJECT

public:
    explicit CSerialPortDialog(CSerialSettings &settings, QWidget *parent = nullptr);

    void accept() override;

private:
    void RestoreDefaults();

    CSerialSettings &m_settings;
    QComboBox *m_port = nullptr;
    QComboBox *m_baudRate = nullptr;
    QComboBox *m_protocol = nullptr;
    QComboBox *m_parity = nullptr;
    QComboBox *m_stopBits = nullptr;
    QComboBox *m_byteSize = nullptr;
    QComboBox *m_chipset = nullptr;
};
