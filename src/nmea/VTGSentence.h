#pragma once

#include "NMEASentence.h"

/// Track made good and ground speed: recognised so that it can be counted and recorded; none of
/// its fields is used.
class CVTGSentence : public CNMEASentence
{
public:
    [[nodiscard]] SentenceType GetType() const override { return kSentenceVTG; }
    int Parse(const CNMEAFields &) override { return 1; }
};
