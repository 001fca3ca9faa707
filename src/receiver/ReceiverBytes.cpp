#include "receiver/ReceiverBytes.h"

#include "nmea/NMEAFields.h"

#include <optional>
#include <vector>

namespace
{

constexpr unsigned char kSirfStart[2] = {0xA0, 0xA2};
constexpr unsigned char kSirfEnd[2] = {0xB0, 0xB3};
constexpr std::size_t kSirfMaxPayload = 0x7FFF; // the length field has 15 bits
constexpr unsigned kSirfChecksumMask = 0x7FFF;
constexpr unsigned char kUbxSync[2] = {0xB5, 0x62};
constexpr int kNmeaSentencesNeeded = 2;

unsigned char At(std::string_view bytes, std::size_t i)
{
    return static_cast<unsigned char>(bytes[i]);
}

// "$GPGGA", "$GNRMC", "$PSRF103", "$PUBX": upper-case letters and digits after the "$".
bool IsAddress(std::string_view tag)
{
    if (tag.size() < 3)
        return false;
    for (const char c : tag.substr(1)) {
        if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')))
            return false;
    }
    return true;
}

bool HasNmea(std::string_view bytes)
{
    CNMEAFields fields;
    int found = 0;
    std::size_t lineEnd = 0;
    for (std::size_t dollar = bytes.find('$'); dollar != std::string_view::npos;
         dollar = bytes.find('$', dollar + 1)) {
        // Line ends only move forward with the "$", so noise full of "$" stays linear.
        if (lineEnd <= dollar) {
            lineEnd = bytes.find_first_of("\r\n", dollar);
            if (lineEnd == std::string_view::npos)
                return false; // an unfinished sentence may still go wrong
        }
        const std::string_view sentence = bytes.substr(dollar, lineEnd - dollar);
        // A sentence without "*" passes SplitSentence unchecked; here only a checksum counts.
        if (sentence.size() > CNMEAFields::kMaxSentenceBytes
            || sentence.find('*') == std::string_view::npos || fields.SplitSentence(sentence) == 0
            || !IsAddress(fields.FieldView(0)))
            continue;
        if (++found == kNmeaSentencesNeeded)
            return true;
    }
    return false;
}

// Sums of any range in constant time: noise full of sync bytes and lengths would otherwise
// make the frame search quadratic. Unsigned wrap-around keeps the low bits, all a checksum
// uses, exact.
class CRangeSums
{
public:
    explicit CRangeSums(std::string_view bytes)
        : m_sum(bytes.size() + 1)
        , m_weighted(bytes.size() + 1)
    {
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            m_sum[i + 1] = m_sum[i] + At(bytes, i);
            m_weighted[i + 1] = m_weighted[i] + i * At(bytes, i);
        }
    }

    [[nodiscard]] std::uint64_t Sum(std::size_t begin, std::size_t end) const
    {
        return m_sum[end] - m_sum[begin];
    }

    // Fletcher's second byte is the sum of the running sums: byte k counts (end - k) times.
    [[nodiscard]] std::uint64_t SumOfSums(std::size_t begin, std::size_t end) const
    {
        return end * Sum(begin, end) - (m_weighted[end] - m_weighted[begin]);
    }

private:
    std::vector<std::uint64_t> m_sum;
    std::vector<std::uint64_t> m_weighted;
};

class CFrameSearch
{
public:
    explicit CFrameSearch(std::string_view bytes)
        : m_bytes(bytes)
    {
    }

    bool IsSirfFrameAt(std::size_t i)
    {
        if (i + 4 > m_bytes.size() || At(m_bytes, i) != kSirfStart[0]
            || At(m_bytes, i + 1) != kSirfStart[1])
            return false;
        const std::size_t length = At(m_bytes, i + 2) * 256u + At(m_bytes, i + 3);
        const std::size_t end = i + 4 + length + 4;
        if (length == 0 || length > kSirfMaxPayload || end > m_bytes.size()
            || At(m_bytes, end - 2) != kSirfEnd[0] || At(m_bytes, end - 1) != kSirfEnd[1])
            return false;
        const unsigned checksum = At(m_bytes, end - 4) * 256u + At(m_bytes, end - 3);
        return (Sums().Sum(i + 4, i + 4 + length) & kSirfChecksumMask) == checksum;
    }

    bool IsUbxFrameAt(std::size_t i)
    {
        if (i + 6 > m_bytes.size() || At(m_bytes, i) != kUbxSync[0]
            || At(m_bytes, i + 1) != kUbxSync[1])
            return false;
        const std::size_t length = At(m_bytes, i + 4) + At(m_bytes, i + 5) * 256u;
        const std::size_t checked = i + 6 + length; // class, ID, length, payload from i + 2
        if (checked + 2 > m_bytes.size())
            return false;
        return (Sums().Sum(i + 2, checked) & 0xFF) == At(m_bytes, checked)
               && (Sums().SumOfSums(i + 2, checked) & 0xFF) == At(m_bytes, checked + 1);
    }

private:
    const CRangeSums &Sums()
    {
        if (!m_sums)
            m_sums.emplace(m_bytes);
        return *m_sums;
    }

    std::string_view m_bytes;
    std::optional<CRangeSums> m_sums; // made at the first frame that fits
};

} // namespace

const char *StreamKindName(StreamKind kind)
{
    switch (kind) {
    case StreamKind::Silence:
        return "silence";
    case StreamKind::Garbage:
        return "garbage";
    case StreamKind::Ubx:
        return "UBX";
    case StreamKind::SirfBinary:
        return "SiRF binary";
    case StreamKind::Nmea:
        return "NMEA";
    }
    return "?";
}

StreamKind ClassifyReceiverBytes(std::string_view bytes)
{
    if (bytes.empty())
        return StreamKind::Silence;
    if (HasNmea(bytes))
        return StreamKind::Nmea;
    CFrameSearch search(bytes);
    bool ubx = false;
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i) {
        if (search.IsSirfFrameAt(i))
            return StreamKind::SirfBinary;
        ubx = ubx || search.IsUbxFrameAt(i);
    }
    return ubx ? StreamKind::Ubx : StreamKind::Garbage;
}

std::string SirfBinaryFrame(std::string_view payload)
{
    unsigned sum = 0;
    for (const char c : payload)
        sum += static_cast<unsigned char>(c);
    sum &= kSirfChecksumMask;
    const std::size_t length = payload.size() & kSirfMaxPayload;
    std::string frame{static_cast<char>(kSirfStart[0]), static_cast<char>(kSirfStart[1]),
                      static_cast<char>(length >> 8), static_cast<char>(length & 0xFF)};
    frame.append(payload);
    frame += {static_cast<char>(sum >> 8), static_cast<char>(sum & 0xFF),
              static_cast<char>(kSirfEnd[0]), static_cast<char>(kSirfEnd[1])};
    return frame;
}

std::string UbxFrame(std::uint8_t messageClass, std::uint8_t messageId, std::string_view payload)
{
    std::string frame{
        static_cast<char>(kUbxSync[0]),           static_cast<char>(kUbxSync[1]),
        static_cast<char>(messageClass),          static_cast<char>(messageId),
        static_cast<char>(payload.size() & 0xFF), static_cast<char>((payload.size() >> 8) & 0xFF)};
    frame.append(payload);
    unsigned a = 0;
    unsigned b = 0;
    for (std::size_t i = 2; i < frame.size(); ++i) {
        a = (a + static_cast<unsigned char>(frame[i])) & 0xFF;
        b = (b + a) & 0xFF;
    }
    frame += {static_cast<char>(a), static_cast<char>(b)};
    return frame;
}
