#pragma once

#include "NMEASentence.h"

#include <array>
#include <cstdint>
#include <string>

/// The last `kLength` values of one dilution with their running sum.
class CDOPHistory
{
public:
    static constexpr int kLength = 60;

    /// Adds to the sum first and subtracts the value that slides out after, always in this order,
    /// so the sum carries the same rounding as a plain list would.
    void Add(double value);
    void Clear();

    [[nodiscard]] int GetSize() const { return m_size; }
    [[nodiscard]] double GetSum() const { return m_sum; }
    /// Sum / count; 0 while empty.
    [[nodiscard]] double GetAverage() const { return m_size == 0 ? 0.0 : m_sum / m_size; }
    /// i-th value, oldest first.
    [[nodiscard]] double GetValue(int i) const { return m_values[(m_first + i) % kLength]; }

private:
    std::array<double, kLength> m_values{};
    int m_first = 0;
    int m_size = 0;
    double m_sum = 0.0;
};

/// PRNs used in the fix. At most one entry per PRN slot, so a flat array beats a hash map.
class CUsedSatellites
{
public:
    static constexpr int kCapacity = 12;

    void Clear() { m_size = 0; }
    void Insert(std::int32_t prn);
    [[nodiscard]] bool Contains(std::int32_t prn) const;
    [[nodiscard]] int GetSize() const { return m_size; }
    [[nodiscard]] std::int32_t GetAt(int i) const { return m_prns[static_cast<std::size_t>(i)]; }

private:
    std::array<std::int32_t, kCapacity> m_prns{};
    int m_size = 0;
};

/// DOP and active satellites.
class CGSASentence : public CNMEASentence
{
public:
    static constexpr int kSlots = 12;

    CGSASentence() { CGSASentence::Reset(); }

    void Reset() override;
    [[nodiscard]] SentenceType GetType() const override { return kSentenceGSA; }
    int Parse(const CNMEAFields &fields) override;

    [[nodiscard]] double GetAveragePDOP() const { return m_pdopHistory.GetAverage(); }
    [[nodiscard]] double GetAverageHDOP() const { return m_hdopHistory.GetAverage(); }
    [[nodiscard]] double GetAverageVDOP() const { return m_vdopHistory.GetAverage(); }
    [[nodiscard]] bool IsUsed(std::int32_t prn) const { return m_used.Contains(prn); }

    /// PRN slots as listed; an empty field keeps the slot's previous number (only Reset clears
    /// them), and that number counts as used again.
    std::array<std::int32_t, kSlots> m_prn{};
    std::string m_mode;         ///< "M" manual, "A" automatic
    std::int32_t m_fixMode = 0; ///< 1 none, 2 2D, 3 3D
    double m_pdop = 0.0;
    double m_hdop = 0.0;
    double m_vdop = 0.0;
    CDOPHistory m_pdopHistory; ///< fed only by sentences with a non-zero PDOP
    CDOPHistory m_hdopHistory;
    CDOPHistory m_vdopHistory;
    CUsedSatellites m_used;
};
