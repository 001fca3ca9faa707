#include "receiver/LogSettings.h"

#include "receiver/RecordingRules.h"
#include "settings/SettingsKey.h"

#include <cstdint>

void LoadRecordingRules(CRecordingRules &rules)
{
    CSettingsKey key;
    key.Open(kLogSettingsKey, false);
    for (const RecordingValue &value : kRecordingValues) {
        std::int32_t number = 0;
        if (!key.ReadNumber(value.name, number))
            continue;
        if (value.sentenceType == kSentenceNone) {
            rules.SetLogOthers(number != 0);
        } else {
            rules.SetRate(value.sentenceType, static_cast<std::uint32_t>(number));
            rules.SetEnabled(value.sentenceType, number != 0);
        }
    }
}

void SaveRecordingRules(const CRecordingRules &rules)
{
    CSettingsKey key;
    key.Open(kLogSettingsKey, true);
    for (const RecordingValue &value : kRecordingValues) {
        std::int32_t number;
        if (value.sentenceType == kSentenceNone)
            number = rules.GetLogOthers() ? 1 : 0;
        else if (rules.IsEnabled(value.sentenceType))
            number = static_cast<std::int32_t>(rules.GetRate(value.sentenceType));
        else
            number = 0;
        key.WriteNumber(value.name, number);
    }
}
