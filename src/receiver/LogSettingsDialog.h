#pragma once

#include "nmea/NMEASentence.h"

#include <QDialog>

#include <array>

class CRecordingRules;
class QCheckBox;
class QComboBox;

/// "LogSettings": which sentence types go into the NMEA log and at what rate; "Ok" stores the
/// rules and saves them.
class CLogSettingsDialog : public QDialog
{
    Q_OBJECT

public:
    explicit CLogSettingsDialog(CRecordingRules &rules, QWidget *parent = nullptr);

    void accept() override;

private:
    void ApplyProfile(int profile);

    CRecordingRules &m_rules;
    // Indexed by sentence type code.
    std::array<QCheckBox *, kSentenceTypeCount> m_checks{};
    std::array<QComboBox *, kSentenceTypeCount> m_rates{};
    QCheckBox *m_others = nullptr;
    QComboBox *m_profile = nullptr;
};
