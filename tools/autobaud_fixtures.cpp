// veloran-autobaud-fixtures DIR [--check]: writes the byte fixtures of the automatic baud rate
// into DIR (tests/data/autobaud), made from the two NMEA cuts already there; with --check it
// writes nothing and fails when a file differs from what it would write. DIR/README.md says
// what each file stands for.
#include "UartSimulator.h"
#include "receiver/ReceiverBytes.h"
#include "receiver/SirfCommands.h"

#include <cmath>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace
{

// The demo drive's first epoch: 2026-06-14 09:30:00 UTC at 48.137 N 11.575 E, 520.2 m above
// the geoid, 47.0 m geoid separation.
constexpr std::time_t kStart = 1781429400;
constexpr double kLatitude = 48.137;
constexpr double kLongitude = 11.575;
constexpr double kHeightMeters = 567.2;
constexpr int kEpochs = 3;

std::string ReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

template <class T> void BigEndian(std::string &out, T value)
{
    const auto bits = static_cast<std::uint64_t>(value);
    for (int shift = 8 * (static_cast<int>(sizeof(T)) - 1); shift >= 0; shift -= 8)
        out += static_cast<char>((bits >> shift) & 0xFF);
}

template <class T> void LittleEndian(std::string &out, T value)
{
    const auto bits = static_cast<std::uint64_t>(value);
    for (std::size_t i = 0; i < sizeof(T); ++i)
        out += static_cast<char>((bits >> (8 * i)) & 0xFF);
}

std::vector<std::string> Lines(const std::string &text)
{
    std::vector<std::string> lines;
    std::size_t begin = 0;
    while (begin < text.size()) {
        const std::size_t lf = text.find('\n', begin);
        const std::size_t end = lf == std::string::npos ? text.size() : lf + 1;
        lines.push_back(text.substr(begin, end - begin));
        begin = end;
    }
    return lines;
}

// WGS84 geodetic to earth-centred, earth-fixed metres.
void Ecef(double &x, double &y, double &z)
{
    constexpr double a = 6378137.0;
    constexpr double f = 1 / 298.257223563;
    constexpr double e2 = f * (2 - f);
    constexpr double degree = 3.14159265358979323846 / 180;
    const double lat = kLatitude * degree;
    const double lon = kLongitude * degree;
    const double n = a / std::sqrt(1 - e2 * std::sin(lat) * std::sin(lat));
    x = (n + kHeightMeters) * std::cos(lat) * std::cos(lon);
    y = (n + kHeightMeters) * std::cos(lat) * std::sin(lon);
    z = (n * (1 - e2) + kHeightMeters) * std::sin(lat);
}

// SiRF message 2, Measure Navigation Data Out: 41 bytes, big-endian.
std::string SirfNavigationData(int epoch)
{
    double x = 0;
    double y = 0;
    double z = 0;
    Ecef(x, y, z);
    const CGpsWeekTime time = GpsWeekTime(kStart + epoch);
    std::string p;
    p += '\x02';                                             // message ID
    BigEndian(p, static_cast<std::int32_t>(std::lround(x))); // X, Y, Z position, m
    BigEndian(p, static_cast<std::int32_t>(std::lround(y)));
    BigEndian(p, static_cast<std::int32_t>(std::lround(z)));
    BigEndian(p, std::int16_t{0}); // X, Y, Z velocity, m/s * 8: standing
    BigEndian(p, std::int16_t{0});
    BigEndian(p, std::int16_t{0});
    p += '\x04'; // mode 1
    p += '\x09'; // HDOP * 5: 1.9
    p += '\x00'; // mode 2
    BigEndian(p, static_cast<std::uint16_t>(time.week));
    BigEndian(p, static_cast<std::uint32_t>(time.timeOfWeek * 100)); // s * 100
    const std::uint8_t prns[12] = {4, 13, 18, 22, 25};
    p += '\x05'; // satellites in the fix
    for (const std::uint8_t prn : prns)
        p += static_cast<char>(prn);
    return p;
}

// UBX NAV-PVT (class 0x01, ID 0x07): 92 bytes, little-endian.
std::string UbxNavPvt(int epoch)
{
    const CGpsWeekTime time = GpsWeekTime(kStart + epoch);
    std::string p;
    LittleEndian(p, static_cast<std::uint32_t>(time.timeOfWeek * 1000)); // iTOW, ms
    LittleEndian(p, std::uint16_t{2026});
    p += {'\x06', '\x0E', '\x09', '\x1E', static_cast<char>(epoch)}; // month .. second
    p += '\x07';                                                     // valid: date, time, resolved
    LittleEndian(p, std::uint32_t{30});                              // tAcc, ns
    LittleEndian(p, std::int32_t{0});                                // nano
    p += {'\x03', '\x01', '\x00', '\x05'};                           // 3-D, fix OK, -, 5 used
    LittleEndian(p, static_cast<std::int32_t>(std::lround(kLongitude * 1e7)));
    LittleEndian(p, static_cast<std::int32_t>(std::lround(kLatitude * 1e7)));
    LittleEndian(p, static_cast<std::int32_t>(std::lround(kHeightMeters * 1000))); // mm
    LittleEndian(p, std::int32_t{520200});                                         // hMSL, mm
    LittleEndian(p, std::uint32_t{2500});                                          // hAcc, mm
    LittleEndian(p, std::uint32_t{4000});                                          // vAcc, mm
    for (int i = 0; i < 5; ++i)
        LittleEndian(p, std::int32_t{0}); // velN, velE, velD, gSpeed (mm/s), headMot
    LittleEndian(p, std::uint32_t{500});  // sAcc, mm/s
    LittleEndian(p, std::uint32_t{0});    // headAcc
    LittleEndian(p, std::uint16_t{350});  // pDOP * 100
    p.append(6, '\0');                    // flags3, reserved
    LittleEndian(p, std::int32_t{0});     // headVeh
    LittleEndian(p, std::int16_t{0});     // magDec
    LittleEndian(p, std::uint16_t{0});    // magAcc
    return p;
}

std::string WithWrongChecksums(const std::string &nmea)
{
    std::string out;
    for (std::string line : Lines(nmea)) {
        const std::size_t star = line.rfind('*');
        if (star != std::string::npos && star + 2 < line.size())
            line[star + 2] = line[star + 2] == '0' ? '1' : '0';
        out += line;
    }
    return out;
}

std::string WithoutChecksums(const std::string &nmea)
{
    std::string out;
    for (std::string line : Lines(nmea)) {
        const std::size_t star = line.rfind('*');
        if (star != std::string::npos)
            line.erase(star, 3);
        out += line;
    }
    return out;
}

std::string Heard(const std::string &sent, int sentBaud, int heardBaud)
{
    CUartLink link;
    link.sentBaud = sentBaud;
    link.heardBaud = heardBaud;
    link.idleBitsAfterLineFeed = 30;
    return link.Hear(sent);
}

std::map<std::string, std::string> Fixtures(const std::string &gps, const std::string &multi)
{
    const std::vector<std::string> lines = Lines(gps);
    std::string sirf;
    std::string ubx;
    std::string ubxAndNmea;
    for (int epoch = 0; epoch < kEpochs; ++epoch) {
        sirf += SirfBinaryFrame(SirfNavigationData(epoch));
        ubx += UbxFrame(0x01, 0x07, UbxNavPvt(epoch));
        ubxAndNmea += UbxFrame(0x01, 0x07, UbxNavPvt(epoch)) + lines.at(epoch);
    }
    const std::string oneSirf = SirfBinaryFrame(SirfNavigationData(0));
    const std::string oneUbx = UbxFrame(0x01, 0x07, UbxNavPvt(0));
    std::string sirfBad = sirf;
    std::string ubxBad = ubx;
    for (int epoch = 0; epoch < kEpochs; ++epoch) {
        sirfBad[static_cast<std::size_t>(epoch + 1) * oneSirf.size() - 3] ^= 1; // checksum low
        ubxBad[static_cast<std::size_t>(epoch + 1) * oneUbx.size() - 1] ^= 1;   // CK_B
    }

    std::map<std::string, std::string> out;
    out["nmea-one-sentence.nmea"] = lines.at(0);
    out["nmea-bad-checksums.nmea"] = WithWrongChecksums(gps);
    out["nmea-unchecked.nmea"] = WithoutChecksums(gps);
    out["nmea-no-line-end.nmea"] = lines.at(0) + lines.at(1).substr(0, lines.at(1).size() - 2);
    out["nmea-cut.nmea"] = lines.at(0).substr(30) + lines.at(1) + lines.at(2).substr(0, 40);
    out["nmea-noise-then-nmea.bin"] = Heard(gps, 9600, 4800).substr(0, 200) + gps;
    out["sirf-mid2.sirf"] = sirf;
    out["sirf-bad-checksum.sirf"] = sirfBad;
    out["sirf-cut.sirf"] = oneSirf.substr(0, oneSirf.size() - 1) + oneSirf.substr(0, 20);
    out["ubx-nav-pvt.ubx"] = ubx;
    out["ubx-bad-checksum.ubx"] = ubxBad;
    out["ubx-cut.ubx"] = oneUbx.substr(0, oneUbx.size() - 1) + oneUbx.substr(0, 20);
    out["ubx-and-nmea.bin"] = ubxAndNmea;
    const struct {
        const char *name;
        const std::string &sent;
        int sentBaud, heardBaud;
    } wrong[] = {
        {"wrong-gps-4800-at-9600.bin", gps, 4800, 9600},
        {"wrong-gps-9600-at-4800.bin", gps, 9600, 4800},
        {"wrong-gps-9600-at-38400.bin", gps, 9600, 38400},
        {"wrong-gps-38400-at-115200.bin", gps, 38400, 115200},
        {"wrong-gps-4800-at-921600.bin", gps, 4800, 921600},
        {"wrong-multi-115200-at-57600.bin", multi, 115200, 57600},
        {"wrong-multi-115200-at-230400.bin", multi, 115200, 230400},
        {"wrong-multi-921600-at-9600.bin", multi, 921600, 9600},
        {"wrong-sirf-57600-at-9600.bin", sirf, 57600, 9600},
        {"wrong-ubx-9600-at-19200.bin", ubx, 9600, 19200},
    };
    for (const auto &w : wrong)
        out[w.name] = Heard(w.sent, w.sentBaud, w.heardBaud);
    return out;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2 || (argc == 3 && std::string(argv[2]) != "--check") || argc > 3) {
        std::cerr << "usage: veloran-autobaud-fixtures DIR [--check]\n";
        return 2;
    }
    const std::string dir = argv[1];
    const bool check = argc == 3;
    const std::string gps = ReadFile(dir + "/nmea-gps.nmea");
    const std::string multi = ReadFile(dir + "/nmea-multi.nmea");
    if (Lines(gps).size() < kEpochs || multi.empty()) {
        std::cerr << dir << ": nmea-gps.nmea or nmea-multi.nmea missing\n";
        return 1;
    }
    int status = 0;
    for (const auto &[name, bytes] : Fixtures(gps, multi)) {
        const std::string path = dir + "/" + name;
        if (check) {
            if (ReadFile(path) != bytes) {
                std::cerr << path << ": not what veloran-autobaud-fixtures writes\n";
                status = 1;
            }
        } else if (!(std::ofstream(path, std::ios::binary) << bytes)) {
            std::cerr << path << ": cannot write\n";
            status = 1;
        }
    }
    return status;
}
