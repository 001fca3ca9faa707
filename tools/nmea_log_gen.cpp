// veloran-nmea-gen: writes a simulated car drive as NMEA 0183 ($GPGGA, $GPGSA, $GPGSV, $GPRMC,
// $GPVTG at 1 Hz), the demo log and large test logs. With --gnss all the same drive comes from a
// multi-system NMEA 4.11 receiver: GN fix sentences, a GSA per system, GSV per system and signal.
//
// The same arguments give the same bytes on every machine: the simulation is integer arithmetic
// only (no libm result or floating-point contraction can change a digit), the random numbers come
// from our own generator, and formatting is snprintf of integers in the C locale.

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace
{

using i64 = std::int64_t;
using u64 = std::uint64_t;

constexpr const char *kProgram = "veloran-nmea-gen";
constexpr const char *kUsage = "usage: veloran-nmea-gen [--epochs N] [--seed S] "
                               "[--start YYYY-MM-DDTHH:MM:SS] [--output FILE] [--header] "
                               "[--gnss all|gps]";

constexpr i64 kDefaultEpochs = 300;
constexpr i64 kMaxEpochs = 100'000'000;
// Its five minutes show a stop, junction turns, ~100 km/h and the full 8-12 satellite range.
constexpr u64 kDefaultSeed = 5;
constexpr const char *kDefaultStart = "2026-06-14T09:30:00";

// ---------------------------------------------------------------------------------------------
// Integer helpers

constexpr i64 FloorDiv(i64 a, i64 b)
{
    const i64 q = a / b;
    return (a % b != 0 && (a < 0) != (b < 0)) ? q - 1 : q;
}

constexpr i64 FloorMod(i64 a, i64 b)
{
    return a - FloorDiv(a, b) * b;
}

/// a / b rounded half away from zero; b > 0.
constexpr i64 DivRound(i64 a, i64 b)
{
    return a >= 0 ? (a + b / 2) / b : -((-a + b / 2) / b);
}

constexpr i64 Clamp(i64 v, i64 lo, i64 hi)
{
    return v < lo ? lo : (v > hi ? hi : v);
}

constexpr i64 Abs(i64 v)
{
    return v < 0 ? -v : v;
}

constexpr i64 ISqrt(i64 v)
{
    i64 r = 0;
    for (i64 bit = i64{1} << 62; bit != 0; bit >>= 2) {
        if (v >= r + bit) {
            v -= r + bit;
            r = (r >> 1) + bit;
        } else {
            r >>= 1;
        }
    }
    return r;
}

// ---------------------------------------------------------------------------------------------
// Random numbers: splitmix64, with our own uniform conversion (std:: distributions are
// implementation-defined).

constexpr u64 Mix(u64 z)
{
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
}

/// Uniform in [lo, hi] from the top 32 bits; hi - lo < 2^32.
constexpr i64 Scale(u64 bits, i64 lo, i64 hi)
{
    return lo + static_cast<i64>(((bits >> 32) * static_cast<u64>(hi - lo + 1)) >> 32);
}

class CRandom
{
public:
    explicit CRandom(u64 seed)
        : m_state(Mix(seed ^ 0x5EED5EED5EED5EEDULL))
    {
    }
    u64 Next()
    {
        m_state += 0x9E3779B97F4A7C15ULL;
        return Mix(m_state);
    }
    i64 Uniform(i64 lo, i64 hi) { return Scale(Next(), lo, hi); }

private:
    u64 m_state;
};

/// Stateless draws for scheduled events, so an event does not depend on how many numbers the
/// drive consumed before it, and a shorter run is a prefix of a longer one.
class CHash
{
public:
    explicit CHash(u64 seed)
        : m_seed(Mix(seed + 0x243F6A8885A308D3ULL))
    {
    }
    i64 Uniform(u64 stream, i64 index, i64 lo, i64 hi) const
    {
        const u64 h = Mix(Mix(m_seed ^ (stream * 0x9E3779B97F4A7C15ULL))
                          + static_cast<u64>(index) * 0xD1B54A32D192ED03ULL);
        return Scale(h, lo, hi);
    }

private:
    u64 m_seed;
};

// ---------------------------------------------------------------------------------------------
// Sine in Q30 fixed point for angles in centidegrees, from a compile-time Taylor table.

constexpr i64 kOne = i64{1} << 30;
constexpr i64 kPiQ30 = 3373259426; // pi * 2^30

constexpr std::array<i64, 9001> kSineTable = [] {
    std::array<i64, 9001> table{};
    for (i64 a = 0; a <= 9000; ++a) {
        const i64 x = a * kPiQ30 / 18000;
        const i64 x2 = (x * x + kOne / 2) >> 30;
        i64 term = x;
        i64 sum = x;
        for (i64 n = 1; n <= 9; ++n) {
            term = ((term * x2 + kOne / 2) >> 30) / ((2 * n) * (2 * n + 1));
            sum += (n % 2 != 0) ? -term : term;
        }
        table[static_cast<std::size_t>(a)] = sum > kOne ? kOne : sum;
    }
    return table;
}();

constexpr i64 Sin(i64 centidegrees)
{
    i64 a = FloorMod(centidegrees, 36000);
    const bool negative = a >= 18000;
    if (negative)
        a -= 18000;
    if (a > 9000)
        a = 18000 - a;
    const i64 s = kSineTable[static_cast<std::size_t>(a)];
    return negative ? -s : s;
}

constexpr i64 Cos(i64 centidegrees)
{
    return Sin(centidegrees + 9000);
}

/// v * q30 with rounding.
constexpr i64 MulQ30(i64 v, i64 q30)
{
    return (v * q30 + kOne / 2) >> 30;
}

// ---------------------------------------------------------------------------------------------
// Calendar (proleptic Gregorian, days since 1970-01-01).

constexpr i64 DaysFromCivil(i64 y, i64 m, i64 d)
{
    y -= m <= 2 ? 1 : 0;
    const i64 era = FloorDiv(y, 400);
    const i64 yoe = y - era * 400;
    const i64 doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const i64 doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

struct CDateTime {
    i64 year, month, day, hour, minute, second;
};

constexpr CDateTime FromUnixSeconds(i64 seconds)
{
    const i64 days = FloorDiv(seconds, 86400);
    const i64 sod = seconds - days * 86400;
    const i64 z = days + 719468;
    const i64 era = FloorDiv(z, 146097);
    const i64 doe = z - era * 146097;
    const i64 yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const i64 doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const i64 mp = (5 * doy + 2) / 153;
    const i64 d = doy - (153 * mp + 2) / 5 + 1;
    const i64 m = mp < 10 ? mp + 3 : mp - 9;
    return {yoe + era * 400 + (m <= 2 ? 1 : 0), m, d, sod / 3600, sod / 60 % 60, sod % 60};
}

constexpr bool IsLeap(i64 y)
{
    return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

constexpr i64 DaysInMonth(i64 y, i64 m)
{
    constexpr std::array<i64, 12> days{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return m == 2 && IsLeap(y) ? 29 : days[static_cast<std::size_t>(m - 1)];
}

// ---------------------------------------------------------------------------------------------
// Schedules of the loss of fix (a tunnel), of DGPS fixes and of GLONASS outages, by run time in
// seconds.

constexpr i64 kTunnelPeriod = 300;
constexpr i64 kTunnelWarning = 60; // the car cruises straight into a tunnel
constexpr i64 kDgpsPeriod = 90;
constexpr i64 kGlonassOutagePeriod = 300;

enum : u64 {
    kStreamTunnelStart = 1,
    kStreamTunnelLength,
    kStreamDgpsStart,
    kStreamDgpsLength,
    kStreamDgpsStation,
    kStreamDgpsPick,
    kStreamDgpsAge,
    kStreamSkyOffset,
    kStreamPassPeak,
    kStreamPassAzimuth,
    kStreamPassSweep,
    kStreamPassDirection,
    kStreamPassSnr,
    kStreamBlocked,
    kStreamGlonassOutageStart,
    kStreamGlonassOutageLength,
    kStreamSecondSignal,
    // Each system's sky draws from the streams above shifted by its own base.
    kStreamSystemBase = 100,
};

struct CWindow {
    i64 start, length;
    [[nodiscard]] bool Contains(i64 t) const { return t >= start && t < start + length; }
};

class CSchedule
{
public:
    explicit CSchedule(const CHash &hash)
        : m_hash(hash)
    {
    }

    [[nodiscard]] CWindow Tunnel(i64 k) const
    {
        return {k * kTunnelPeriod + m_hash.Uniform(kStreamTunnelStart, k, 135, 165),
                m_hash.Uniform(kStreamTunnelLength, k, 18, 22)};
    }
    [[nodiscard]] bool InTunnel(i64 t) const { return Tunnel(t / kTunnelPeriod).Contains(t); }
    [[nodiscard]] bool TunnelAhead(i64 t) const
    {
        for (i64 k = t / kTunnelPeriod; k <= t / kTunnelPeriod + 1; ++k) {
            const CWindow w = Tunnel(k);
            if (t < w.start + w.length && t + kTunnelWarning >= w.start)
                return true;
        }
        return false;
    }

    [[nodiscard]] CWindow Dgps(i64 k) const
    {
        return {k * kDgpsPeriod + m_hash.Uniform(kStreamDgpsStart, k, 30, 70),
                m_hash.Uniform(kStreamDgpsLength, k, 8, 15)};
    }
    /// Differential age in tenths of a second and station id, or age -1 without DGPS.
    void DgpsAt(i64 t, i64 &ageTenths, i64 &station) const
    {
        const i64 k = t / kDgpsPeriod;
        const CWindow w = Dgps(k);
        ageTenths = -1;
        if (!w.Contains(t))
            return;
        // Corrections arrive every few seconds, so the age saws between about 1 and 5 s.
        ageTenths = 10 + (t - w.start) % 4 * 10 + m_hash.Uniform(kStreamDgpsAge, t, 0, 9);
        // One of three reference stations of the area.
        station =
            m_hash.Uniform(kStreamDgpsStation, m_hash.Uniform(kStreamDgpsPick, k, 0, 2), 1, 1023);
    }

    /// A stretch in which the receiver stops reporting GLONASS while the fix goes on; it lies
    /// before the tunnel of its period.
    [[nodiscard]] CWindow GlonassOutage(i64 k) const
    {
        return {k * kGlonassOutagePeriod + m_hash.Uniform(kStreamGlonassOutageStart, k, 40, 80),
                m_hash.Uniform(kStreamGlonassOutageLength, k, 8, 15)};
    }
    [[nodiscard]] bool GlonassOut(i64 t) const
    {
        return GlonassOutage(t / kGlonassOutagePeriod).Contains(t);
    }

private:
    const CHash &m_hash;
};

// ---------------------------------------------------------------------------------------------
// Sky: lanes of passes. In each lane a satellite rises every 900 s and stays up for 900 s plus or
// minus the lane's deviation, so the lane holds two satellites for a while (overlap) or none
// (gap). GPS has ten lanes placed so 8 to 12 satellites are in view, with 8 (two GSV messages) at
// least once in every 300 s; the other systems' overlaps and gaps never coincide, so they keep
// within one of their lane count. The sky runs about 30 times faster than the real one, so a
// short log still shows satellites rising and setting.

constexpr i64 kPassPeriod = 900;
constexpr int kMaxLanes = 10;
constexpr int kMaxNumbers = 64;
constexpr int kMaxInView = 12;

struct CLane {
    i64 phase, deviation;
};
constexpr std::array<CLane, 10> kGpsLanes{{{60, -70},
                                           {100, -80},
                                           {360, -60},
                                           {390, -75},
                                           {660, -65},
                                           {700, -90},
                                           {160, 90},
                                           {200, 80},
                                           {470, 100},
                                           {780, 70}}};
constexpr std::array<CLane, 7> kGlonassLanes{
    {{40, 80}, {200, -70}, {290, 90}, {460, -80}, {520, 70}, {700, -90}, {780, 60}}};
constexpr std::array<CLane, 8> kGalileoLanes{
    {{20, -60}, {110, 80}, {270, -70}, {300, 90}, {480, -80}, {560, 70}, {720, -60}, {760, 100}}};
constexpr std::array<CLane, 9> kBeidouLanes{{{70, 70},
                                             {220, -60},
                                             {240, 80},
                                             {400, -70},
                                             {420, 60},
                                             {560, -70},
                                             {600, 90},
                                             {770, -70},
                                             {800, 50}}};

/// A satellite system's sky: its lanes, the NMEA numbers the seed picks two a lane from, and
/// hash streams of its own so the systems do not move in step.
struct CSystem {
    std::span<const CLane> lanes;
    int firstNumber;
    int numbers;
    u64 shuffleSalt;
    u64 streamBase;
    i64 snrBias; // dB
};

constexpr CSystem kGps{kGpsLanes, 1, 32, 0x5A7E111EULL, 0, 0};
// GLONASS slots 1-24 are NMEA 65-88; BeiDou numbers stay below 47 (BDS-2 and BDS-3).
constexpr CSystem kGlonass{kGlonassLanes, 65, 24, 0x6C0A5500ULL, kStreamSystemBase, -2};
constexpr CSystem kGalileo{kGalileoLanes, 1, 36, 0x6A111E00ULL, 2 * kStreamSystemBase, 0};
constexpr CSystem kBeidou{kBeidouLanes, 1, 46, 0xBE1D0000ULL, 3 * kStreamSystemBase, -1};

struct CSatellite {
    int prn;       // NMEA number
    int elevation; // degrees
    int azimuth;   // degrees
    int snr;       // dB-Hz, -1 when not tracked
    bool used;
    i64 elevationCd;
    i64 snrOffset;
};

struct CSky {
    std::array<CSatellite, kMaxInView> satellites{};
    int inView = 0;
    int used = 0;
};

class CConstellation
{
public:
    CConstellation(const CSystem &system, u64 seed, const CHash &hash)
        : m_system(system)
        , m_hash(hash)
    {
        std::array<int, kMaxNumbers> numbers{};
        for (int i = 0; i < system.numbers; ++i)
            numbers[static_cast<std::size_t>(i)] = system.firstNumber + i;
        CRandom shuffle(seed ^ system.shuffleSalt);
        for (int i = system.numbers - 1; i > 0; --i) {
            const auto j = static_cast<std::size_t>(shuffle.Uniform(0, i));
            std::swap(numbers[static_cast<std::size_t>(i)], numbers[j]);
        }
        for (std::size_t i = 0; i < 2 * system.lanes.size(); ++i)
            m_numbers[i] = numbers[i];
        m_offset =
            2 * kPassPeriod + hash.Uniform(Stream(kStreamSkyOffset), 0, 0, 2 * kPassPeriod - 1);
    }

    void At(i64 t, CSky &sky) const
    {
        sky.inView = 0;
        const i64 tau = t + m_offset;
        const int lanes = static_cast<int>(m_system.lanes.size());
        for (int l = 0; l < lanes; ++l) {
            const CLane &lane = m_system.lanes[static_cast<std::size_t>(l)];
            const i64 duration = kPassPeriod + lane.deviation;
            const i64 k0 = FloorDiv(tau - lane.phase, kPassPeriod);
            for (i64 k = k0 - 1; k <= k0; ++k) {
                const i64 rise = lane.phase + k * kPassPeriod;
                if (tau < rise || tau >= rise + duration || sky.inView == kMaxInView)
                    continue;
                Pass(l, k, tau - rise, duration,
                     sky.satellites[static_cast<std::size_t>(sky.inView++)]);
            }
        }
        // Receivers list the satellites by PRN.
        for (int i = 1; i < sky.inView; ++i) {
            for (int j = i; j > 0; --j) {
                auto &a = sky.satellites[static_cast<std::size_t>(j - 1)];
                auto &b = sky.satellites[static_cast<std::size_t>(j)];
                if (a.prn <= b.prn)
                    break;
                std::swap(a, b);
            }
        }
    }

    [[nodiscard]] bool Blocked(int prn, i64 t) const
    {
        // Buildings and trees hide a satellite now and then, for 40 s at a time.
        const i64 slot = (t + prn * 7) / 40;
        return m_hash.Uniform(Stream(kStreamBlocked), slot * 64 + prn, 0, 99) < 12;
    }

    [[nodiscard]] i64 SnrBias() const { return m_system.snrBias; }

private:
    [[nodiscard]] u64 Stream(u64 stream) const { return m_system.streamBase + stream; }

    void Pass(int lane, i64 k, i64 elapsed, i64 duration, CSatellite &s) const
    {
        const i64 id = k * 16 + lane;
        const i64 peak = m_hash.Uniform(Stream(kStreamPassPeak), id, 2500, 8500);
        const i64 rise = m_hash.Uniform(Stream(kStreamPassAzimuth), id, 0, 35999);
        const i64 sweep = m_hash.Uniform(Stream(kStreamPassSweep), id, 10000, 20000);
        const i64 direction = m_hash.Uniform(Stream(kStreamPassDirection), id, 0, 1) != 0 ? 1 : -1;
        const auto lanes = static_cast<i64>(m_system.lanes.size());
        s.prn = m_numbers[static_cast<std::size_t>(lane + lanes * FloorMod(k, 2))];
        s.elevationCd = MulQ30(peak, Sin(elapsed * 18000 / duration));
        s.elevation = static_cast<int>(s.elevationCd / 100);
        s.azimuth =
            static_cast<int>(FloorMod(rise + direction * sweep * elapsed / duration, 36000) / 100);
        s.snrOffset = m_hash.Uniform(Stream(kStreamPassSnr), id, -3, 3);
        s.snr = -1;
        s.used = false;
    }

    CSystem m_system;
    const CHash &m_hash;
    std::array<int, 2 * kMaxLanes> m_numbers{};
    i64 m_offset = 0;
};

// ---------------------------------------------------------------------------------------------
// The car. Position in 1e-7 arcminutes, altitude in mm, speed in mm/s, course in millidegrees.

constexpr i64 kHomeLatitude = 28882200000; // 48.1370 N
constexpr i64 kHomeLongitude = 6945000000; // 11.5750 E
constexpr i64 kHomeAltitudeMm = 520000;
constexpr i64 kHomeRadiusM = 8000; // beyond it turns lead back home
constexpr i64 kUnitsPerArcminute = 10'000'000;
// One arcminute of latitude is 1852 m: 1e7 units per 1852000 mm, reduced.
constexpr i64 kUnitsPerMmNum = 2500;
constexpr i64 kUnitsPerMmDen = 463;

constexpr i64 KmhToMmPerS(i64 kmh)
{
    return kmh * 2500 / 9;
}

class CCar
{
public:
    explicit CCar(u64 seed)
        : m_rng(seed)
    {
        m_course = m_rng.Uniform(0, 359999);
    }

    void Step(bool inTunnel, bool tunnelAhead)
    {
        i64 turn = 0;
        switch (m_mode) {
        case Mode::Hold:
            m_target = 0;
            if (--m_timer <= 0)
                StartCruise(tunnelAhead);
            break;
        case Mode::Cruise:
            if (tunnelAhead)
                m_target = KmhToMmPerS(80);
            if (--m_timer <= 0)
                NextEvent(tunnelAhead);
            break;
        case Mode::Approach:
            if (m_stopping && m_speed == 0) {
                m_mode = Mode::Hold;
                m_timer = m_rng.Uniform(6, 30);
            } else if (!m_stopping && m_speed <= m_target + 500) {
                m_mode = Mode::Turn;
            }
            break;
        case Mode::Turn:
            turn = m_turnLeft > 0 ? (m_turnRate < m_turnLeft ? m_turnRate : m_turnLeft)
                                  : (m_turnRate < -m_turnLeft ? -m_turnRate : m_turnLeft);
            m_turnLeft -= turn;
            if (m_turnLeft == 0)
                StartCruise(tunnelAhead);
            break;
        }

        // Road curves: a small heading rate wandering about zero; tunnels run straight.
        m_drift = Clamp(m_drift * 7 / 8 + m_rng.Uniform(-80, 80), -700, 700);
        if (m_mode != Mode::Turn && !inTunnel && m_speed > 1000)
            turn = m_drift;

        // Speed follows the target with limited acceleration and jerk, so it changes smoothly.
        const i64 maxAccel = m_speed > KmhToMmPerS(80) ? 1000 : 2000;
        const i64 wanted = Clamp(DivRound(m_target - m_speed, 3), -3000, maxAccel);
        m_accel += Clamp(wanted - m_accel, -1200, 1200);
        const i64 before = m_speed;
        m_speed += m_accel;
        if (m_speed < 0 || (m_target == 0 && m_speed < 600)) {
            m_speed = 0;
            m_accel = 0;
        }

        const i64 distance = (before + m_speed) / 2;
        const i64 mid = (m_course + turn / 2) / 10;
        const i64 north = MulQ30(distance, Cos(mid));
        const i64 east = MulQ30(distance, Sin(mid));
        m_latitude += DivRound(north * kUnitsPerMmNum, kUnitsPerMmDen);
        m_longitude += DivRound(east * kUnitsPerMmNum * kOne, kUnitsPerMmDen * CosLatitude());
        m_course = FloorMod(m_course + turn, 360000);

        // Gentle grades, pulled back toward the home altitude.
        m_grade += m_rng.Uniform(-15, 15);
        if (m_altitude > kHomeAltitudeMm + 20000)
            m_grade -= 20;
        else if (m_altitude < kHomeAltitudeMm - 20000)
            m_grade += 20;
        m_grade = Clamp(m_grade, -450, 450);
        m_altitude += DivRound(distance * m_grade, 10000);
    }

    [[nodiscard]] i64 Latitude() const { return m_latitude; }
    [[nodiscard]] i64 Longitude() const { return m_longitude; }
    [[nodiscard]] i64 AltitudeMm() const { return m_altitude; }
    [[nodiscard]] i64 Speed() const { return m_speed; }
    [[nodiscard]] i64 Course() const { return m_course; }

private:
    enum class Mode { Hold, Cruise, Approach, Turn };

    [[nodiscard]] i64 CosLatitude() const
    {
        return Cos(m_latitude / (kUnitsPerArcminute * 60 / 100));
    }

    void StartCruise(bool tunnelAhead)
    {
        constexpr std::array<i64, 9> kLevels{30, 50, 50, 50, 60, 70, 80, 100, 100};
        m_mode = Mode::Cruise;
        m_timer = m_rng.Uniform(15, 50);
        m_target = KmhToMmPerS(kLevels[static_cast<std::size_t>(m_rng.Uniform(0, 8))]
                               + m_rng.Uniform(-4, 4));
        if (tunnelAhead)
            m_target = KmhToMmPerS(80);
    }

    void NextEvent(bool tunnelAhead)
    {
        const i64 r = m_rng.Uniform(0, 99);
        if (tunnelAhead || r >= 75) {
            StartCruise(tunnelAhead);
            return;
        }
        if (r >= 50) {
            // A bend in the road, taken at speed.
            m_mode = Mode::Turn;
            m_turnRate = m_rng.Uniform(1500, 4000);
            const i64 angle = m_rng.Uniform(15000, 45000);
            m_turnLeft = TurnLeftTowardHome() ? -angle : angle;
            return;
        }
        m_mode = Mode::Approach;
        m_stopping = r >= 30;
        if (m_stopping) {
            m_target = 0;
            return;
        }
        // A turn at a junction, slowed down for.
        m_target = KmhToMmPerS(m_rng.Uniform(14, 24));
        m_turnRate = m_rng.Uniform(12000, 18000);
        const i64 angle = m_rng.Uniform(45000, 110000);
        m_turnLeft = TurnLeftTowardHome() ? -angle : angle;
    }

    bool TurnLeftTowardHome()
    {
        const bool randomLeft = m_rng.Uniform(0, 1) == 0;
        const i64 dyM = (kHomeLatitude - m_latitude) * 1852 / kUnitsPerArcminute;
        const i64 dxM =
            MulQ30((kHomeLongitude - m_longitude) * 1852 / kUnitsPerArcminute, CosLatitude());
        if (dxM * dxM + dyM * dyM <= kHomeRadiusM * kHomeRadiusM)
            return randomLeft;
        // Sign of the cross product of the heading and the way home.
        const i64 centi = m_course / 10;
        return Sin(centi) * dyM - Cos(centi) * dxM > 0;
    }

    CRandom m_rng;
    Mode m_mode = Mode::Hold;
    i64 m_timer = 5;
    i64 m_target = 0;
    bool m_stopping = false;
    i64 m_turnLeft = 0;
    i64 m_turnRate = 0;
    i64 m_latitude = kHomeLatitude;
    i64 m_longitude = kHomeLongitude;
    i64 m_altitude = kHomeAltitudeMm;
    i64 m_speed = 0;
    i64 m_accel = 0;
    i64 m_course = 0;
    i64 m_drift = 0;
    i64 m_grade = 0;
};

// ---------------------------------------------------------------------------------------------
// Output

class CWriter
{
public:
    /// `lineEnd` is "\r\n", or "\n" as modern receivers on USB send it.
    CWriter(std::FILE *file, std::string_view lineEnd)
        : m_file(file)
        , m_lineEnd(lineEnd)
    {
        m_buffer.reserve(kFlushBytes + 256);
    }

    /// `length` bytes of `line`, from '$' up to the checksum; adds "*HH" and the line end.
    void Sentence(const char *line, int length)
    {
        static constexpr char kHex[] = "0123456789ABCDEF";
        unsigned sum = 0;
        for (int i = 1; i < length; ++i)
            sum ^= static_cast<unsigned char>(line[i]);
        m_buffer.append(line, static_cast<std::size_t>(length));
        const char tail[] = {'*', kHex[sum >> 4], kHex[sum & 15]};
        m_buffer.append(tail, sizeof tail);
        m_buffer.append(m_lineEnd);
        if (m_buffer.size() >= kFlushBytes)
            Flush();
    }

    void Comment(std::string_view text)
    {
        m_buffer.append("# ");
        m_buffer.append(text);
        m_buffer.append(m_lineEnd);
    }

    bool Flush()
    {
        if (!m_buffer.empty()
            && std::fwrite(m_buffer.data(), 1, m_buffer.size(), m_file) != m_buffer.size())
            m_failed = true;
        m_buffer.clear();
        return !m_failed;
    }

private:
    static constexpr std::size_t kFlushBytes = 1 << 20;
    std::FILE *m_file;
    std::string_view m_lineEnd;
    std::string m_buffer;
    bool m_failed = false;
};

/// "ddmm.mmmm,N" or "dddmm.mmmm,E" from 1e-7 arcminutes.
void FormatCoordinate(char *out, std::size_t size, i64 units, int degreeDigits, char positive,
                      char negative)
{
    const i64 q = DivRound(Abs(units), 1000); // 1e-4 arcminutes
    const i64 degrees = q / 600000;
    const i64 minutes = q % 600000;
    std::snprintf(out, size, "%0*lld%02lld.%04lld,%c", degreeDigits,
                  static_cast<long long>(degrees), static_cast<long long>(minutes / 10000),
                  static_cast<long long>(minutes % 10000), units < 0 ? negative : positive);
}

/// Tenths as "d.d"; `width` pads the whole part with zeros ("022.4").
void FormatTenths(char *out, std::size_t size, i64 tenths, int width)
{
    const i64 a = Abs(tenths);
    std::snprintf(out, size, "%s%0*lld.%lld", tenths < 0 ? "-" : "", width,
                  static_cast<long long>(a / 10), static_cast<long long>(a % 10));
}

struct COptions {
    i64 epochs = kDefaultEpochs;
    u64 seed = kDefaultSeed;
    std::string start = kDefaultStart;
    i64 startSeconds = 0;
    std::string output;
    bool header = false;
    bool allSystems = false;
    bool epochsGiven = false;
    bool seedGiven = false;
    bool startGiven = false;
};

constexpr i64 kVariationTenths = 31; // 3.1 W: magnetic course = true course + 3.1
constexpr const char *kVariation = "003.1,W";
constexpr const char *kGeoidSeparation = "47.0";

class CGenerator
{
public:
    CGenerator(const COptions &options, CWriter &writer)
        : m_options(options)
        , m_writer(writer)
        , m_hash(options.seed)
        , m_schedule(m_hash)
        , m_sky(kGps, options.seed, m_hash)
        , m_glonass(kGlonass, options.seed, m_hash)
        , m_galileo(kGalileo, options.seed, m_hash)
        , m_beidou(kBeidou, options.seed, m_hash)
        , m_car(options.seed)
        , m_rng(options.seed ^ 0xD0D0D0D0ULL)
        , m_gnssRng(options.seed ^ 0x6E556E55ULL)
    {
    }

    void Header()
    {
        const i64 n = m_options.epochs;
        std::string command = "build/dev/tools/veloran-nmea-gen --header";
        if (m_options.allSystems)
            command += " --gnss all";
        if (m_options.epochsGiven)
            command += " --epochs " + std::to_string(n);
        if (m_options.seedGiven)
            command += " --seed " + std::to_string(m_options.seed);
        if (m_options.startGiven)
            command += " --start " + m_options.start;
        if (!m_options.output.empty())
            command += " --output " + m_options.output;

        m_writer.Comment("Veloran NMEA log: a simulated car drive, generated by");
        m_writer.Comment("tools/nmea_log_gen.cpp. Regenerate it from the repository root with:");
        // Comment lines stay within the 82-byte receiver line, so long commands are wrapped.
        std::string_view rest = command;
        while (!rest.empty()) {
            std::size_t cut = rest.size();
            if (cut > 74) {
                const std::size_t space = rest.rfind(' ', 74);
                cut = space == std::string_view::npos || space == 0 ? rest.size() : space;
            }
            const bool more = cut < rest.size();
            m_writer.Comment("  " + std::string(rest.substr(0, cut)) + (more ? " \\" : ""));
            rest.remove_prefix(more ? cut + 1 : cut);
        }

        char line[160];
        const CDateTime s = FromUnixSeconds(m_options.startSeconds);
        std::snprintf(line, sizeof line,
                      "%s of driving (%lld epochs) from %04lld-%02lld-%02lld "
                      "%02lld:%02lld:%02lld UTC.",
                      Elapsed(n, true).c_str(), static_cast<long long>(n),
                      static_cast<long long>(s.year), static_cast<long long>(s.month),
                      static_cast<long long>(s.day), static_cast<long long>(s.hour),
                      static_cast<long long>(s.minute), static_cast<long long>(s.second));
        m_writer.Comment(line);
        if (m_options.allSystems) {
            m_writer.Comment(
                "A multi-system NMEA 4.11 receiver, LF line ends. Each second: GNGGA,");
            m_writer.Comment("a GNGSA per system, GSV per system and signal, GNRMC, GNVTG.");
            m_writer.Comment(
                "Stops, turns, up to ~100 km/h. GPS (L1, L5, two SBAS), GLONASS, Galileo");
            m_writer.Comment(
                "(E1, E5a) and BeiDou rise and set, 25-40 in view and more than 12 used");
            m_writer.Comment("(GGA shows 12); a DGPS fix (quality 2) about every 90 s.");
        } else {
            m_writer.Comment(
                "Each second: GGA, GSA, 2-3 GSV, RMC, VTG. Stops, turns, up to ~100 km/h.");
            m_writer.Comment(
                "20 satellites rise and set (8-12 in view, some untracked); a DGPS fix");
            m_writer.Comment("(quality 2) about every 90 s.");
        }
        ListWindows("Loss of fix (tunnel)", kTunnelPeriod, &CSchedule::Tunnel);
        if (m_options.allSystems)
            ListWindows("GLONASS not reported", kGlonassOutagePeriod, &CSchedule::GlonassOutage);
    }

    void Epoch(i64 t)
    {
        const bool all = m_options.allSystems;
        const char *talker = all ? "GN" : "GP";
        const bool fix = !m_schedule.InTunnel(t);
        const CDateTime now = FromUnixSeconds(m_options.startSeconds + t);
        char time[64];
        std::snprintf(time, sizeof time, "%02lld%02lld%02lld.00", static_cast<long long>(now.hour),
                      static_cast<long long>(now.minute), static_cast<long long>(now.second));

        CSky sky;
        m_sky.At(t, sky);
        Track(t, fix, m_sky, m_rng, sky);
        int used = sky.used;
        // GLONASS, Galileo, BeiDou; their noise comes from a generator of their own, so the GPS
        // satellites and the fixes are the same as in a GPS-only log of the same seed.
        std::array<CSky, 3> others{};
        if (all) {
            const std::array<const CConstellation *, 3> constellations{&m_glonass, &m_galileo,
                                                                       &m_beidou};
            for (std::size_t i = 0; i < others.size(); ++i) {
                constellations[i]->At(t, others[i]);
                if (i == 0 && m_schedule.GlonassOut(t))
                    others[i].inView = 0;
                Track(t, fix, *constellations[i], m_gnssRng, others[i]);
                used += others[i].used;
            }
        }

        char line[128];
        int n = 0;
        char latitude[64];
        char longitude[64];
        FormatCoordinate(latitude, sizeof latitude, m_car.Latitude(), 2, 'N', 'S');
        FormatCoordinate(longitude, sizeof longitude, m_car.Longitude(), 3, 'E', 'W');

        // DOPs wander slowly and shrink with more satellites in use.
        m_dopNoise = Clamp(m_dopNoise * 15 / 16 + m_rng.Uniform(-4, 4), -20, 20);
        m_vdopNoise = Clamp(m_vdopNoise * 15 / 16 + m_rng.Uniform(-4, 4), -25, 25);
        const i64 hdop = 70 + 360 / (used > 2 ? used - 2 : 1) + m_dopNoise; // hundredths
        const i64 vdop = hdop * 16 / 10 + m_vdopNoise;
        // PDOP from the rounded HDOP and VDOP, so the three printed values agree.
        const i64 hdopTenths = DivRound(hdop, 10);
        const i64 vdopTenths = DivRound(vdop, 10);
        const i64 pdopTenths =
            DivRound(ISqrt(100 * (hdopTenths * hdopTenths + vdopTenths * vdopTenths)), 10);
        CDops dops;
        FormatTenths(dops.hdop, sizeof dops.hdop, hdopTenths, 1);
        FormatTenths(dops.vdop, sizeof dops.vdop, vdopTenths, 1);
        FormatTenths(dops.pdop, sizeof dops.pdop, pdopTenths, 1);

        i64 age = -1;
        i64 station = 0;
        if (fix)
            m_schedule.DgpsAt(t, age, station);

        // GGA; receivers with more channels than NMEA 0183 foresaw still print at most 12.
        if (fix) {
            char altitude[64];
            FormatTenths(altitude, sizeof altitude,
                         DivRound(m_car.AltitudeMm(), 100) + m_rng.Uniform(-2, 2), 1);
            char dgps[64] = ",";
            if (age >= 0)
                std::snprintf(dgps, sizeof dgps, "%lld.%lld,%04lld",
                              static_cast<long long>(age / 10), static_cast<long long>(age % 10),
                              static_cast<long long>(station));
            n = std::snprintf(line, sizeof line, "$%sGGA,%s,%s,%s,%d,%02d,%s,%s,M,%s,M,%s", talker,
                              time, latitude, longitude, age >= 0 ? 2 : 1, used > 12 ? 12 : used,
                              dops.hdop, altitude, kGeoidSeparation, dgps);
        } else {
            n = std::snprintf(line, sizeof line, "$%sGGA,%s,,,,,0,00,,,M,%s,M,,", talker, time,
                              kGeoidSeparation);
        }
        m_writer.Sentence(line, n);

        if (all) {
            SatellitesOfAllSystems(t, fix, sky, others, dops);
        } else {
            Gsa("GP", sky, fix, dops, 0);
            Gsv("GP", {sky.satellites.data(), static_cast<std::size_t>(sky.inView)}, 0);
        }

        // RMC and VTG; NMEA 4.1 added the mode indicator, 4.11 RMC's navigational status, which
        // receivers that do not assess it send as V.
        char rmcTail[8] = "";
        char vtgTail[8] = "";
        if (all) {
            const char mode = !fix ? 'N' : (age >= 0 ? 'D' : 'A');
            std::snprintf(rmcTail, sizeof rmcTail, ",%c,V", mode);
            std::snprintf(vtgTail, sizeof vtgTail, ",%c", mode);
        }
        char date[64];
        std::snprintf(date, sizeof date, "%02lld%02lld%02lld", static_cast<long long>(now.day),
                      static_cast<long long>(now.month), static_cast<long long>(now.year % 100));
        if (fix) {
            i64 speed = m_car.Speed();
            i64 course = DivRound(m_car.Course(), 100); // tenths of a degree
            if (speed > 0) {
                // Receiver noise on a moving fix.
                speed = speed + m_rng.Uniform(-40, 40);
                speed = speed < 0 ? 0 : speed;
                course += m_rng.Uniform(-2, 2);
            }
            course = FloorMod(course, 3600);
            const i64 knots = DivRound(speed * 36, 1852); // tenths
            const i64 kmh = DivRound(speed * 36, 1000);   // tenths
            char knotsText[64];
            char kmhText[64];
            char trueText[64];
            char magneticText[64];
            FormatTenths(knotsText, sizeof knotsText, knots, 3);
            FormatTenths(kmhText, sizeof kmhText, kmh, 3);
            FormatTenths(trueText, sizeof trueText, course, 3);
            FormatTenths(magneticText, sizeof magneticText,
                         FloorMod(course + kVariationTenths, 3600), 3);
            n = std::snprintf(line, sizeof line, "$%sRMC,%s,A,%s,%s,%s,%s,%s,%s%s", talker, time,
                              latitude, longitude, knotsText, trueText, date, kVariation, rmcTail);
            m_writer.Sentence(line, n);
            n = std::snprintf(line, sizeof line, "$%sVTG,%s,T,%s,M,%s,N,%s,K%s", talker, trueText,
                              magneticText, knotsText, kmhText, vtgTail);
            m_writer.Sentence(line, n);
        } else {
            n = std::snprintf(line, sizeof line, "$%sRMC,%s,V,,,,,,,%s,%s%s", talker, time, date,
                              kVariation, rmcTail);
            m_writer.Sentence(line, n);
            n = std::snprintf(line, sizeof line, "$%sVTG,,T,,M,,N,,K%s", talker, vtgTail);
            m_writer.Sentence(line, n);
        }

        m_car.Step(!fix, m_schedule.TunnelAhead(t + 1));
    }

private:
    struct CDops {
        char pdop[32], hdop[32], vdop[32];
    };

    void ListWindows(const char *what, i64 period, CWindow (CSchedule::*window)(i64) const)
    {
        const i64 n = m_options.epochs;
        char line[160];
        int listed = 0;
        i64 total = 0;
        for (i64 k = 0; k * period < n; ++k) {
            const CWindow w = (m_schedule.*window)(k);
            if (w.start >= n)
                break;
            ++total;
            if (listed == 3)
                continue;
            ++listed;
            const i64 end = w.start + w.length < n ? w.start + w.length : n;
            std::snprintf(line, sizeof line, "%s: %s-%s into the drive (%lld s, minute %lld).",
                          what, Elapsed(w.start, false).c_str(), Elapsed(end, false).c_str(),
                          static_cast<long long>(end - w.start),
                          static_cast<long long>(w.start / 60 + 1));
            m_writer.Comment(line);
        }
        if (total > listed) {
            std::snprintf(line, sizeof line, "...and so on about every %lld minutes, %lld in all.",
                          static_cast<long long>(period / 60), static_cast<long long>(total));
            m_writer.Comment(line);
        }
    }

    /// SNR and use of each satellite in view; none is tracked in a tunnel.
    static void Track(i64 t, bool fix, const CConstellation &constellation, CRandom &rng, CSky &sky)
    {
        sky.used = 0;
        if (!fix)
            return;
        constexpr i64 kTrackedCd = 300;
        constexpr i64 kUsedCd = 1000;
        constexpr int kMinUsed = 5;
        int usable = 0;
        for (int i = 0; i < sky.inView; ++i)
            usable += sky.satellites[static_cast<std::size_t>(i)].elevationCd > kUsedCd ? 1 : 0;
        int blockedUsable = 0;
        for (int i = 0; i < sky.inView; ++i) {
            CSatellite &s = sky.satellites[static_cast<std::size_t>(i)];
            if (s.elevationCd < kTrackedCd)
                continue;
            // Never hide so many that fewer than kMinUsed remain for the fix.
            if (constellation.Blocked(s.prn, t)
                && !(s.elevationCd > kUsedCd && usable - blockedUsable <= kMinUsed)) {
                blockedUsable += s.elevationCd > kUsedCd ? 1 : 0;
                continue;
            }
            s.snr = static_cast<int>(Clamp(20 + s.elevation * 28 / 90 + s.snrOffset
                                               + constellation.SnrBias() + rng.Uniform(-1, 1),
                                           12, 54));
            s.used = s.elevationCd > kUsedCd;
            sky.used += s.used ? 1 : 0;
        }
    }

    /// A GSA of the used satellites in the 12 slots; `systemId` 0 leaves out the NMEA 4.11
    /// field.
    void Gsa(const char *talker, const CSky &sky, bool fix, const CDops &dops, int systemId)
    {
        char line[128];
        int n = 0;
        if (fix) {
            n = std::snprintf(line, sizeof line, "$%sGSA,A,3", talker);
            int slots = 0;
            for (int i = 0; i < sky.inView && slots < 12; ++i) {
                const CSatellite &s = sky.satellites[static_cast<std::size_t>(i)];
                if (s.used) {
                    n += std::snprintf(line + n, sizeof line - static_cast<std::size_t>(n), ",%02d",
                                       s.prn);
                    ++slots;
                }
            }
            for (; slots < 12; ++slots)
                line[n++] = ',';
            n += std::snprintf(line + n, sizeof line - static_cast<std::size_t>(n), ",%s,%s,%s",
                               dops.pdop, dops.hdop, dops.vdop);
        } else {
            n = std::snprintf(line, sizeof line, "$%sGSA,A,1,,,,,,,,,,,,,,,", talker);
        }
        if (systemId > 0)
            n +=
                std::snprintf(line + n, sizeof line - static_cast<std::size_t>(n), ",%d", systemId);
        m_writer.Sentence(line, n);
    }

    /// GSV, four satellites a message; `signalId` 0 leaves out the NMEA 4.11 field, which
    /// follows the last satellite. An empty group is one message saying 0 in view.
    void Gsv(const char *talker, std::span<const CSatellite> satellites, int signalId)
    {
        const int count = static_cast<int>(satellites.size());
        const int messages = count == 0 ? 1 : (count + 3) / 4;
        char line[128];
        for (int m = 0; m < messages; ++m) {
            int n = std::snprintf(line, sizeof line, "$%sGSV,%d,%d,%02d", talker, messages, m + 1,
                                  count);
            for (int i = m * 4; i < count && i < m * 4 + 4; ++i) {
                const CSatellite &s = satellites[static_cast<std::size_t>(i)];
                const auto room = sizeof line - static_cast<std::size_t>(n);
                if (s.snr >= 0)
                    n += std::snprintf(line + n, room, ",%02d,%02d,%03d,%02d", s.prn, s.elevation,
                                       s.azimuth, s.snr);
                else
                    n += std::snprintf(line + n, room, ",%02d,%02d,%03d,", s.prn, s.elevation,
                                       s.azimuth);
            }
            if (signalId > 0)
                n += std::snprintf(line + n, sizeof line - static_cast<std::size_t>(n), ",%X",
                                   signalId);
            m_writer.Sentence(line, n);
        }
    }

    /// GSA in the order of the NMEA system IDs, then GSV by system and signal, as u-blox
    /// receivers send them.
    void SatellitesOfAllSystems(i64 t, bool fix, const CSky &gps, const std::array<CSky, 3> &others,
                                const CDops &dops)
    {
        Gsa("GN", gps, fix, dops, 1);
        for (std::size_t i = 0; i < others.size(); ++i)
            Gsa("GN", others[i], fix, dops, static_cast<int>(i) + 2);

        // GPS L1 C/A with the SBAS satellites, which share its talker and are never used.
        std::array<CSatellite, kMaxInView + 2> l1{};
        std::size_t count = 0;
        for (int i = 0; i < gps.inView; ++i)
            l1[count++] = gps.satellites[static_cast<std::size_t>(i)];
        count += Sbas(t, fix, std::span(l1).subspan(count));
        Gsv("GP", std::span(l1).first(count), 1);

        std::array<CSatellite, kMaxInView> second{};
        Gsv("GP", SecondSignal(kGps, gps, 50, 3, second), 8); // L5 Q, on the newer satellites
        const auto all = [](const CSky &sky) {
            return std::span(sky.satellites).first(static_cast<std::size_t>(sky.inView));
        };
        Gsv("GL", all(others[0]), 1);                                   // L1 OF
        Gsv("GA", all(others[1]), 7);                                   // E1
        Gsv("GA", SecondSignal(kGalileo, others[1], 35, 2, second), 1); // E5a
        Gsv("GB", all(others[2]), 1);                                   // B1I
    }

    /// The satellites of `sky` that the seed gives a second signal (`percent` of the system's
    /// numbers), a few dB weaker than the first.
    std::span<const CSatellite> SecondSignal(const CSystem &system, const CSky &sky, i64 percent,
                                             i64 lossDb, std::array<CSatellite, kMaxInView> &out)
    {
        std::size_t count = 0;
        for (int i = 0; i < sky.inView; ++i) {
            CSatellite s = sky.satellites[static_cast<std::size_t>(i)];
            if (m_hash.Uniform(system.streamBase + kStreamSecondSignal, s.prn, 0, 99) >= percent)
                continue;
            if (s.snr >= 0)
                s.snr = static_cast<int>(Clamp(s.snr - lossDb + m_gnssRng.Uniform(-1, 1), 10, 54));
            out[count++] = s;
        }
        return std::span(out).first(count);
    }

    /// Two geostationary EGNOS satellites (NMEA 33-64 are SBAS PRNs 120-151), standing still
    /// in the southern sky; returns how many it wrote.
    std::size_t Sbas(i64 t, bool fix, std::span<CSatellite> out)
    {
        struct CGeo {
            int number, elevation, azimuth, snr;
        };
        constexpr std::array<CGeo, 2> kGeos{{{44, 34, 189, 40}, {46, 31, 152, 37}}};
        for (std::size_t i = 0; i < kGeos.size(); ++i) {
            const CGeo &g = kGeos[i];
            CSatellite &s = out[i];
            s = {g.number, g.elevation, g.azimuth, -1, false, g.elevation * 100, 0};
            if (fix && !m_sky.Blocked(g.number, t))
                s.snr = static_cast<int>(g.snr + m_gnssRng.Uniform(-1, 1));
        }
        return kGeos.size();
    }

    /// "2:21" / "1:02:21", or in words ("5 min", "55 h 33 min 20 s").
    static std::string Elapsed(i64 seconds, bool words)
    {
        const auto h = static_cast<long long>(seconds / 3600);
        const auto m = static_cast<long long>(seconds / 60 % 60);
        const auto s = static_cast<long long>(seconds % 60);
        char text[48];
        if (!words) {
            if (h > 0)
                std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", h, m, s);
            else
                std::snprintf(text, sizeof text, "%lld:%02lld", m, s);
            return text;
        }
        std::string out;
        if (h > 0)
            out += std::to_string(h) + " h ";
        if (m > 0)
            out += std::to_string(m) + " min ";
        if (s > 0)
            out += std::to_string(s) + " s ";
        out.pop_back();
        return out;
    }

    const COptions &m_options;
    CWriter &m_writer;
    CHash m_hash;
    CSchedule m_schedule;
    CConstellation m_sky;
    CConstellation m_glonass;
    CConstellation m_galileo;
    CConstellation m_beidou;
    CCar m_car;
    CRandom m_rng;
    CRandom m_gnssRng;
    i64 m_dopNoise = 0;
    i64 m_vdopNoise = 0;
};

// ---------------------------------------------------------------------------------------------
// Command line

template <class T> bool ParseNumber(std::string_view text, T &value)
{
    const char *end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value);
    return ec == std::errc() && ptr == end && !text.empty();
}

bool ParseStart(std::string_view text, i64 &seconds)
{
    // YYYY-MM-DDTHH:MM:SS
    if (text.size() != 19 || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':'
        || text[16] != ':')
        return false;
    auto field = [&](std::size_t at, std::size_t length, i64 &out) {
        for (std::size_t i = at; i < at + length; ++i)
            if (text[i] < '0' || text[i] > '9')
                return false;
        return ParseNumber(text.substr(at, length), out);
    };
    i64 y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
    if (!field(0, 4, y) || !field(5, 2, mo) || !field(8, 2, d) || !field(11, 2, h)
        || !field(14, 2, mi) || !field(17, 2, s))
        return false;
    // RMC carries a two-digit year.
    if (y < 2000 || y > 2099 || mo < 1 || mo > 12 || d < 1 || d > DaysInMonth(y, mo) || h > 23
        || mi > 59 || s > 59)
        return false;
    seconds = DaysFromCivil(y, mo, d) * 86400 + h * 3600 + mi * 60 + s;
    return true;
}

int BadArguments(const std::string &message)
{
    std::fprintf(stderr, "%s: %s (see --help)\n", kProgram, message.c_str());
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    COptions options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            std::printf("%s\n", kUsage);
            return 0;
        }
        if (arg == "--header") {
            options.header = true;
            continue;
        }
        if (arg != "--epochs" && arg != "--seed" && arg != "--start" && arg != "--output"
            && arg != "--gnss")
            return BadArguments("unknown argument '" + std::string(arg) + "'");
        if (i + 1 >= argc)
            return BadArguments(std::string(arg) + " needs a value");
        const std::string_view value = argv[++i];
        if (arg == "--epochs") {
            if (!ParseNumber(value, options.epochs) || options.epochs < 1
                || options.epochs > kMaxEpochs)
                return BadArguments("--epochs wants a whole number from 1 to 100000000, not '"
                                    + std::string(value) + "'");
            options.epochsGiven = true;
        } else if (arg == "--seed") {
            if (!ParseNumber(value, options.seed))
                return BadArguments("--seed wants a whole number from 0 to 2^64-1, not '"
                                    + std::string(value) + "'");
            options.seedGiven = true;
        } else if (arg == "--start") {
            options.start = value;
            options.startGiven = true;
        } else if (arg == "--gnss") {
            if (value != "all" && value != "gps")
                return BadArguments("--gnss wants 'all' or 'gps', not '" + std::string(value)
                                    + "'");
            options.allSystems = value == "all";
        } else {
            if (value.empty())
                return BadArguments("--output wants a file name");
            options.output = value;
        }
    }
    if (!ParseStart(options.start, options.startSeconds))
        return BadArguments("--start wants a valid YYYY-MM-DDTHH:MM:SS from the years 2000-2099, "
                            "not '"
                            + options.start + "'");

    std::FILE *file = stdout;
    if (!options.output.empty()) {
        file = std::fopen(options.output.c_str(), "wb");
        if (file == nullptr) {
            std::fprintf(stderr, "%s: cannot write '%s': %s\n", kProgram, options.output.c_str(),
                         std::strerror(errno));
            return 1;
        }
    }

    CWriter writer(file, options.allSystems ? "\n" : "\r\n");
    CGenerator generator(options, writer);
    if (options.header)
        generator.Header();
    for (i64 t = 0; t < options.epochs; ++t)
        generator.Epoch(t);

    bool ok = writer.Flush();
    ok = std::fflush(file) == 0 && ok;
    if (file != stdout)
        ok = std::fclose(file) == 0 && ok;
    if (!ok) {
        std::fprintf(stderr, "%s: write error on '%s'\n", kProgram,
                     options.output.empty() ? "stdout" : options.output.c_str());
        return 1;
    }
    return 0;
}
