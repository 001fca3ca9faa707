#include "receiver/LogSettingsDialog.h"

#include "receiver/LogSettings.h"
#include "receiver/RecordingRules.h"
#include "widgets/FormWidgets.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QPushButton>
#include <QVBoxLayout>

namespace
{

// Row order of the dialog, which is also the order the values are stored in.
constexpr std::array kRowOrder{kSentenceGGA, kSentenceRMC, kSentenceGSA, kSentenceGSV,
                               kSentenceVTG};
static_assert(kRowOrder.size() == kSentenceTypeCount);

constexpr std::array kUnusedRateChoices{1, 2, 3, 4, 5, 10, 20, 50, 100};

// A rate the list lacks (from a hand-edited settings file) is added in numeric order rather
// than silently replaced: "Ok" then keeps it. Rate 0 means "type off" and shows the list's
// first rate, so turning the type back on records something.
void ShowRate(QComboBox *combo, std::uint32_t rate)
{
    if (rate == 0)
        rate = kRecordingRateChoices[0];
    const QString text = QString::number(rate);
    int index = combo->findText(text);
    if (index < 0) {
        index = 0;
        while (index < combo->count() && combo->itemText(index).toUInt() < rate)
            ++index;
        combo->insertItem(index, text);
    }
    combo->setCurrentIndex(index);
}

} // namespace

CLogSettingsDialog::CLogSettingsDialog(CRecordingRules &rules, QWidget *parent)
    : QDialog(parent)
    , m_rules(rules)
{
    setWindowTitle(tr("LogSettings"));

    auto *group = new QGroupBox(tr("Record / Rate"), this);
    auto *grid = new QGridLayout(group);
    int row = 0;
    for (const int type : kRowOrder) {
        const QString name = QString::fromLatin1(SentenceTypeName(type));
        auto *check = new QCheckBox(name, group);
        check->setObjectName("check" + name);
        auto *rate = new QComboBox(group);
        rate->setObjectName("rate" + name);
        for (const std::uint32_t choice : kRecordingRateChoices)
            rate->addItem(QString::number(choice));

        // A rate of 0 records nothing even when enabled, so it shows as off.
        const bool on = rules.IsEnabled(type) && rules.GetRate(type) != 0;
        check->setChecked(on);
        rate->setEnabled(on);
        ShowRate(rate, rules.GetRate(type));
        connect(check, &QCheckBox::toggled, rate, &QComboBox::setEnabled);

        grid->addWidget(check, row, 0);
        grid->addWidget(rate, row, 1);
        ++row;
        m_checks[type] = check;
        m_rates[type] = rate;
    }

    m_others = new QCheckBox(tr("others"), group);
    m_others->setObjectName("checkOthers");
    m_others->setChecked(rules.GetLogOthers());
    auto *unused = new QComboBox(group);
    unused->setObjectName("unusedRate");
    for (const int choice : kUnusedRateChoices)
        unused->addItem(QString::number(choice));
    unused->setEnabled(false);
    grid->addWidget(m_others, row, 0);
    grid->addWidget(unused, row, 1);
    grid->setColumnStretch(1, 1);

    m_profile = new QComboBox(this);
    m_profile->setObjectName("profile");
    for (const RecordingProfileInfo &profile : kRecordingProfiles)
        m_profile->addItem(QString::fromLatin1(profile.name));
    // No profile is "current": the rules may match none of them.
    m_profile->setCurrentIndex(-1);
    // activated, not currentIndexChanged: picking the same profile again after edits
    // must apply it again.
    connect(m_profile, &QComboBox::activated, this, &CLogSettingsDialog::ApplyProfile);
    auto *profileForm = new QFormLayout;
    profileForm->addRow(tr("Profile:"), m_profile);

    auto *buttons = new QDialogButtonBox(this);
    QPushButton *ok = buttons->addButton(tr("Ok"), QDialogButtonBox::AcceptRole);
    ok->setObjectName("okButton");
    ok->setDefault(true);
    buttons->addButton(tr("Cancel"), QDialogButtonBox::RejectRole)->setObjectName("cancelButton");
    connect(buttons, &QDialogButtonBox::accepted, this, &CLogSettingsDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &CLogSettingsDialog::reject);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(group);
    layout->addLayout(profileForm);
    layout->addStretch();
    layout->addWidget(buttons);

    resize(360, sizeHint().height());
    GiveMnemonics(*this);
}

void CLogSettingsDialog::accept()
{
    for (int type = 0; type < kSentenceTypeCount; ++type) {
        const bool on = m_checks[type]->isChecked();
        m_rules.SetRate(type, on ? m_rates[type]->currentText().toUInt() : 0);
        m_rules.SetEnabled(type, on);
    }
    m_rules.SetLogOthers(m_others->isChecked());
    SaveRecordingRules(m_rules);
    QDialog::accept();
}

// A type the profile turns off keeps its rate text; only its box and drop-down go off.
void CLogSettingsDialog::ApplyProfile(int profile)
{
    if (profile < 0 || profile >= kRecordingProfileCount)
        return;
    const RecordingProfileInfo &info = kRecordingProfiles[profile];
    for (int type = 0; type < kSentenceTypeCount; ++type) {
        const std::uint32_t rate = info.rates[type];
        m_checks[type]->setChecked(rate != 0);
        if (rate != 0)
            ShowRate(m_rates[type], rate);
    }
    m_others->setChecked(info.logOthers);
}
