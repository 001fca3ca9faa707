#include "receiver/SerialPortDialog.h"

#include "receiver/PortInspector.h"
#include "receiver/SerialSettings.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QPushButton>
#include <QVBoxLayout>

namespace
{

constexpr int kPortFieldCharacters = 24;

template <std::size_t N>
QComboBox *MakeCombo(const char *name, const std::array<const char *, N> &entries,
                     std::int32_t index, QWidget *parent)
{
    auto *combo = new QComboBox(parent);
    combo->setObjectName(name);
    for (const char *entry : entries)
        combo->addItem(QString::fromLatin1(entry));
    // The unstored indices are whatever the caller set; never leave the list without a choice.
    const bool inTable = index >= 0 && static_cast<std::size_t>(index) < N;
    combo->setCurrentIndex(inTable ? index : 0);
    return combo;
}

} // namespace

CSerialPortDialog::CSerialPortDialog(CSerialSettings &settings, QWidget *parent)
    : QDialog(parent)
    , m_settings(settings)
{
    setWindowTitle(tr("Open Serial Port"));

    m_port = new QComboBox(this);
    m_port->setObjectName("port");
    m_port->setEditable(true);
    // A typed "COM3:" or path is a one-off; it must not grow the list of devices found.
    m_port->setInsertPolicy(QComboBox::NoInsert);
    m_ports = ScanPorts(PortRootsFromEnvironment());
    for (const CPortCandidate &port : m_ports) {
        QString label = QString::fromStdString(port.GetPreferredName());
        if (!port.stableName.empty())
            label += QStringLiteral(" (%1)").arg(QString::fromStdString(port.device));
        label += QStringLiteral(" - ") + QString::fromStdString(port.friendlyName);
        m_port->addItem(label, QString::fromStdString(port.GetPreferredName()));
    }
    // The list shows more than the name; the field holds only what is stored. A stable name is
    // long: the list may be wider than the field.
    m_port->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_port->setMinimumContentsLength(kPortFieldCharacters);
    const auto showName = [this](int index) {
        if (index >= 0)
            m_port->setEditText(m_port->itemData(index).toString());
    };
    connect(m_port, &QComboBox::currentIndexChanged, this, showName);
    connect(m_port, &QComboBox::activated, this, showName);
    // The stored name may be a COM name or a device that is unplugged now; show it as it is.
    const QString stored = QString::fromStdString(settings.GetPortName());
    m_port->setCurrentIndex(m_port->findData(stored));
    m_port->setEditText(stored);

    m_baudRate = MakeCombo("baudRate", kBaudRateEntries, settings.GetBaudRateIndex(), this);
    m_protocol = MakeCombo("protocol", kProtocolEntries, settings.GetProtocolIndex(), this);
    m_parity = MakeCombo("parity", kParityEntries, settings.GetParityIndex(), this);
    m_stopBits = MakeCombo("stopBits", kStopBitEntries, settings.GetStopBitIndex(), this);
    m_byteSize = MakeCombo("byteSize", kByteSizeEntries, settings.GetByteSizeIndex(), this);
    m_chipset = MakeCombo("chipset", kChipsetEntries, settings.GetChipsetIndex(), this);
    // The line is always 8N1; these only show it.
    m_parity->setEnabled(false);
    m_stopBits->setEnabled(false);
    m_byteSize->setEnabled(false);

    auto *mandatory = new QGroupBox(tr("Mandatory Options"), this);
    auto *mandatoryForm = new QFormLayout(mandatory);
    mandatoryForm->addRow(tr("Serial Port:"), m_port);
    mandatoryForm->addRow(tr("Baud Rate:"), m_baudRate);
    mandatoryForm->addRow(tr("Protocol:"), m_protocol);

    auto *advanced = new QGroupBox(tr("Advanced Options"), this);
    auto *advancedForm = new QFormLayout(advanced);
    advancedForm->addRow(tr("Parity:"), m_parity);
    advancedForm->addRow(tr("StopBit:"), m_stopBits);
    advancedForm->addRow(tr("ByteSize:"), m_byteSize);
    advancedForm->addRow(tr("Receiver Chipset:"), m_chipset);

    auto *buttons = new QDialogButtonBox(this);
    QPushButton *ok = buttons->addButton(tr("OK"), QDialogButtonBox::AcceptRole);
    ok->setObjectName("okButton");
    ok->setDefault(true);
    buttons->addButton(tr("Cancel"), QDialogButtonBox::RejectRole)->setObjectName("cancelButton");
    QPushButton *defaults = buttons->addButton(tr("Default"), QDialogButtonBox::ResetRole);
    defaults->setObjectName("defaultButton");
    connect(buttons, &QDialogButtonBox::accepted, this, &CSerialPortDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &CSerialPortDialog::reject);
    connect(defaults, &QPushButton::clicked, this, &CSerialPortDialog::RestoreDefaults);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(mandatory);
    layout->addWidget(advanced);
    layout->addStretch();
    layout->addWidget(buttons);

    resize(400, sizeHint().height());
}

void CSerialPortDialog::accept()
{
    m_settings.SetPortName(m_port->currentText().trimmed().toStdString());
    m_settings.SetBaudRateIndex(m_baudRate->currentIndex());
    m_settings.SetProtocolIndex(m_protocol->currentIndex());
    m_settings.SetParityIndex(m_parity->currentIndex());
    m_settings.SetStopBitIndex(m_stopBits->currentIndex());
    m_settings.SetByteSizeIndex(m_byteSize->currentIndex());
    m_settings.SetChipsetIndex(m_chipset->currentIndex());
    m_settings.Save();
    QDialog::accept();
}

// Parity, stop bits and byte size stay: they are not the user's to change anyway. The port is
// the one a fresh install gets.
void CSerialPortDialog::RestoreDefaults()
{
    const std::string receiver = FirstLikelyReceiver(m_ports);
    m_port->setEditText(receiver.empty() ? QString::fromLatin1(kPortEntries[0])
                                         : QString::fromStdString(receiver));
    m_baudRate->setCurrentIndex(0);
    m_protocol->setCurrentIndex(0);
    m_chipset->setCurrentIndex(0);
}
