#include "receiver/SerialPortDialog.h"

#include "receiver/PortInspector.h"
#include "receiver/SerialSettings.h"
#include "settings/SettingsKey.h"
#include "settings/SettingsTable.h"
#include "widgets/FormWidgets.h"
#include "widgets/MessageBox.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include <algorithm>
#include <iterator>

namespace
{

constexpr int kPortFieldCharacters = 24;
// The baud-rate list's last entry: the speed is found by listening.
constexpr int kAutoBaudIndex = static_cast<int>(kBaudRateEntries.size());

constexpr const char *kSourceNames[] = {"Serial port", "gpsd", "TCP device",
                                        "TCP listener (the device connects)", "UDP"};
static_assert(std::size(kSourceNames) == CSerialPortDialog::kSourceKinds.size());

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
    // A port chosen from the list is one plugged in now: its speed is best found by listening.
    connect(m_port, &QComboBox::activated, this,
            [this] { m_baudRate->setCurrentIndex(kAutoBaudIndex); });
    // The stored name may be a COM name or a device that is unplugged now; show it as it is.
    const QString stored = QString::fromStdString(settings.GetPortName());
    m_port->setCurrentIndex(m_port->findData(stored));
    m_port->setEditText(stored);

    m_baudRate = MakeCombo("baudRate", kBaudRateEntries, settings.GetBaudRateIndex(), this);
    m_baudRate->addItem(tr("auto"));
    m_protocol = MakeCombo("protocol", kProtocolEntries, settings.GetProtocolIndex(), this);
    m_parity = MakeCombo("parity", kParityEntries, settings.GetParityIndex(), this);
    m_stopBits = MakeCombo("stopBits", kStopBitEntries, settings.GetStopBitIndex(), this);
    m_byteSize = MakeCombo("byteSize", kByteSizeEntries, settings.GetByteSizeIndex(), this);
    m_chipset = MakeCombo("chipset", kChipsetEntries, settings.GetChipsetIndex(), this);
    // The line is always 8N1; these only show it.
    m_parity->setEnabled(false);
    m_stopBits->setEnabled(false);
    m_byteSize->setEnabled(false);

    m_source = new QComboBox(this);
    m_source->setObjectName("source");
    for (const char *name : kSourceNames)
        m_source->addItem(tr(name));
    m_host = new QLineEdit(this);
    m_host->setObjectName("host");
    m_netPort = new QSpinBox(this);
    m_netPort->setObjectName("netPort");
    m_netPort->setRange(1, 65535);
    m_device = new QLineEdit(this);
    m_device->setObjectName("gpsdDevice");
    m_device->setPlaceholderText(tr("every device"));
    m_networkGroup = new QGroupBox(tr("Network"), this);
    m_networkGroup->setObjectName("network");
    auto *networkForm = new QFormLayout(m_networkGroup);
    networkForm->addRow(tr("Host:"), m_host);
    networkForm->addRow(tr("Port:"), m_netPort);
    networkForm->addRow(tr("Device:"), m_device);

    auto *mandatory = new QGroupBox(tr("Mandatory Options"), this);
    m_serialGroup = mandatory;
    auto *mandatoryForm = new QFormLayout(mandatory);
    mandatoryForm->addRow(tr("Serial Port:"), m_port);
    mandatoryForm->addRow(tr("Baud Rate:"), m_baudRate);
    mandatoryForm->addRow(tr("Protocol:"), m_protocol);

    auto *advanced = new QGroupBox(tr("Advanced Options"), this);
    m_advancedGroup = advanced;
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
    m_defaults = defaults;
    connect(buttons, &QDialogButtonBox::accepted, this, &CSerialPortDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &CSerialPortDialog::reject);
    connect(defaults, &QPushButton::clicked, this, &CSerialPortDialog::RestoreDefaults);

    auto *sourceForm = new QFormLayout;
    sourceForm->addRow(tr("Source:"), m_source);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(sourceForm);
    layout->addWidget(m_networkGroup);
    layout->addWidget(mandatory);
    layout->addWidget(advanced);
    layout->addStretch();
    layout->addWidget(buttons);

    connect(m_source, &QComboBox::currentIndexChanged, this, &CSerialPortDialog::ShowSource);
    CSettingsKey key;
    key.Open(kSourceSetting.key, true);
    std::string error;
    const std::optional<CSourceAddress> storedSource =
        CSourceAddress::Parse(key.ReadText(kSourceSetting.name, ""), error);
    if (storedSource)
        TakeStoredSource(*storedSource);
    ShowSource(m_source->currentIndex());

    resize(400, sizeHint().height());
    GiveMnemonics(*this);
}

void CSerialPortDialog::TakeStoredSource(const CSourceAddress &source)
{
    const auto kind = std::find(kSourceKinds.begin(), kSourceKinds.end(), source.kind);
    m_source->setCurrentIndex(static_cast<int>(kind - kSourceKinds.begin()));
    if (source.kind == SourceKind::Serial) {
        m_port->setCurrentIndex(m_port->findData(QString::fromStdString(source.device)));
        m_port->setEditText(QString::fromStdString(source.device));
        if (source.baudRate == CSourceAddress::kAutoBaud)
            m_baudRate->setCurrentIndex(kAutoBaudIndex);
        return;
    }
    m_host->setText(QString::fromStdString(source.host));
    m_netPort->setValue(source.port);
    m_device->setText(QString::fromStdString(source.device));
}

void CSerialPortDialog::ShowSource(int index)
{
    const SourceKind kind = kSourceKinds[static_cast<std::size_t>(std::max(index, 0))];
    const bool serial = kind == SourceKind::Serial;
    m_serialGroup->setVisible(serial);
    m_advancedGroup->setVisible(serial);
    m_networkGroup->setVisible(!serial);
    m_defaults->setVisible(serial); // it sets the port's fields
    auto *form = static_cast<QFormLayout *>(m_networkGroup->layout());
    form->setRowVisible(m_device, kind == SourceKind::Gpsd);
    // Connecting needs a host; a listener takes every address of this machine unless one is
    // given.
    const bool listens = kind == SourceKind::TcpListen || kind == SourceKind::Udp;
    m_host->setPlaceholderText(listens ? tr("every address") : QString());
    if (kind == SourceKind::Gpsd && m_host->text().isEmpty())
        m_host->setText(QStringLiteral("localhost"));
    if (m_netPort->value() == CSourceAddress::kGpsdPort
        || m_netPort->value() == CSourceAddress::kNmeaPort
        || m_netPort->value() == m_netPort->minimum())
        m_netPort->setValue(kind == SourceKind::Gpsd ? CSourceAddress::kGpsdPort
                                                     : CSourceAddress::kNmeaPort);
}

std::optional<CSourceAddress> CSerialPortDialog::SourceOfFields(std::string &error) const
{
    CSourceAddress source;
    source.kind = kSourceKinds[static_cast<std::size_t>(std::max(m_source->currentIndex(), 0))];
    source.host = m_host->text().trimmed().toStdString();
    source.port = m_netPort->value();
    if (source.kind == SourceKind::Gpsd)
        source.device = m_device->text().trimmed().toStdString();
    // Read back from its URL: what is stored is what the source dialog, the command line and the
    // window all read.
    return CSourceAddress::Parse(source.ToUrl(), error);
}

void CSerialPortDialog::accept()
{
    CSettingsKey key;
    key.Open(kSourceSetting.key, true);
    if (kSourceKinds[static_cast<std::size_t>(std::max(m_source->currentIndex(), 0))]
        != SourceKind::Serial) {
        std::string error;
        const std::optional<CSourceAddress> source = SourceOfFields(error);
        if (!source) {
            ShowError(this,
                      tr("This source cannot be used: %1.").arg(QString::fromStdString(error)));
            return;
        }
        key.WriteText(kSourceSetting.name, source->ToUrl());
        QDialog::accept();
        return;
    }
    const std::string port = m_port->currentText().trimmed().toStdString();
    // The design's speeds stay the stored index; "auto" lives in the source URL.
    const bool autoBaud = m_baudRate->currentIndex() == kAutoBaudIndex;
    CSourceAddress serial;
    serial.device = port;
    serial.baudRate = CSourceAddress::kAutoBaud;
    key.WriteText(kSourceSetting.name, autoBaud ? serial.ToUrl() : std::string());
    m_settings.SetPortName(port);
    if (!autoBaud)
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
