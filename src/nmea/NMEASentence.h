#pragma once

class CNMEAFields;

/// What CNMEAParser::Parse returns; also the index the data page filters and the recording rules
/// use. Compare as a signed value.
enum SentenceType : int {
    kSentenceNone = -1, ///< line not accepted
    kSentenceGGA = 0,
    kSentenceGSA = 1,
    kSentenceGSV = 2,
    kSentenceRMC = 3,
    kSentenceVTG = 4,
};

inline constexpr int kSentenceTypeCount = 5;

/// Short name of a sentence type ("GGA"...), nullptr for kSentenceNone.
constexpr const char *SentenceTypeName(int type)
{
    constexpr const char *names[kSentenceTypeCount] = {"GGA", "GSA", "GSV", "RMC", "VTG"};
    return (type >= 0 && type < kSentenceTypeCount) ? names[type] : nullptr;
}

/// Values of the last accepted sentence of one kind. Empty or unreadable fields keep the value
/// the previous sentence left; nothing ages.
class CNMEASentence
{
public:
    CNMEASentence() = default;
    virtual ~CNMEASentence() = default;
    CNMEASentence(const CNMEASentence &) = delete;
    CNMEASentence &operator=(const CNMEASentence &) = delete;

    /// Back to the empty state; the parser itself never calls it.
    virtual void Reset() {}
    [[nodiscard]] virtual SentenceType GetType() const = 0;
    /// Takes the values out of the split line; the parser ignores the result.
    virtual int Parse(const CNMEAFields &fields) = 0;
};
