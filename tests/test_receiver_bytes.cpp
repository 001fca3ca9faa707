#include "FileTestUtils.h"
#include "NMEATestUtils.h"
#include "UartSimulator.h"
#include "receiver/BaudHunt.h"
#include "receiver/ReceiverBytes.h"

#include <gtest/gtest.h>
#include <numeric>
#include <string>
#include <vector>

namespace
{

const std::string kData = VELORAN_AUTOBAUD_DATA;

std::string Fixture(const std::string &name)
{
    const std::string bytes = ReadFile(kData + "/" + name);
    EXPECT_FALSE(bytes.empty()) << name;
    return bytes;
}

std::vector<int> HuntSpeeds()
{
    std::vector<int> speeds(CBaudHunt::kSpeeds.begin(), CBaudHunt::kSpeeds.end());
    speeds.insert(speeds.end(), CBaudHunt::kHighSpeeds.begin(), CBaudHunt::kHighSpeeds.end());
    return speeds;
}

std::string Heard(std::string_view sent, int sentBaud, int heardBaud, std::int64_t fromBit = 0)
{
    CUartLink link;
    link.sentBaud = sentBaud;
    link.heardBaud = heardBaud;
    link.listenFromSentBit = fromBit;
    return link.Hear(sent);
}

std::string Kind(StreamKind kind)
{
    return StreamKindName(kind);
}

} // namespace

// tests/data/autobaud/README.md says how each file was made.
TEST(ReceiverBytes, Fixtures)
{
    const struct {
        const char *file;
        StreamKind kind;
    } cases[] = {
        {"nmea-gps.nmea", StreamKind::Nmea},
        {"nmea-multi.nmea", StreamKind::Nmea},
        {"nmea-one-sentence.nmea", StreamKind::Garbage},
        {"nmea-bad-checksums.nmea", StreamKind::Garbage},
        {"nmea-unchecked.nmea", StreamKind::Garbage},
        {"nmea-no-line-end.nmea", StreamKind::Garbage},
        {"nmea-cut.nmea", StreamKind::Garbage},
        {"nmea-noise-then-nmea.bin", StreamKind::Nmea},
        {"sirf-mid2.sirf", StreamKind::SirfBinary},
        {"sirf-bad-checksum.sirf", StreamKind::Garbage},
        {"sirf-cut.sirf", StreamKind::Garbage},
        {"ubx-nav-pvt.ubx", StreamKind::Ubx},
        {"ubx-bad-checksum.ubx", StreamKind::Garbage},
        {"ubx-cut.ubx", StreamKind::Garbage},
        {"ubx-and-nmea.bin", StreamKind::Nmea},
        {"wrong-gps-4800-at-9600.bin", StreamKind::Garbage},
        {"wrong-gps-9600-at-4800.bin", StreamKind::Garbage},
        {"wrong-gps-9600-at-38400.bin", StreamKind::Garbage},
        {"wrong-gps-38400-at-115200.bin", StreamKind::Garbage},
        {"wrong-gps-4800-at-921600.bin", StreamKind::Garbage},
        {"wrong-multi-115200-at-57600.bin", StreamKind::Garbage},
        {"wrong-multi-115200-at-230400.bin", StreamKind::Garbage},
        {"wrong-multi-921600-at-9600.bin", StreamKind::Garbage},
        {"wrong-sirf-57600-at-9600.bin", StreamKind::Garbage},
        {"wrong-ubx-9600-at-19200.bin", StreamKind::Garbage},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.file);
        EXPECT_EQ(Kind(ClassifyReceiverBytes(Fixture(c.file))), Kind(c.kind));
    }
}

// Frames written down by hand from the protocols, not by our own builders: a UBX ACK-ACK of
// CFG-PRT and SiRF's poll of the software version (message 132).
TEST(ReceiverBytes, FramesAsTheProtocolsWriteThem)
{
    const std::string ack = FromHex("B5 62 05 01 02 00 06 00 0E 37");
    const std::string poll = FromHex("A0 A2 00 02 84 00 00 84 B0 B3");
    EXPECT_EQ(UbxFrame(0x05, 0x01, std::string("\x06\x00", 2)), ack);
    EXPECT_EQ(SirfBinaryFrame(std::string("\x84\x00", 2)), poll);
    EXPECT_EQ(Kind(ClassifyReceiverBytes(ack)), "UBX");
    EXPECT_EQ(Kind(ClassifyReceiverBytes(poll)), "SiRF binary");
}

TEST(ReceiverBytes, EdgeCases)
{
    const std::string gga = Sentence("GPGGA,093000.00,4808.2200,N,01134.5000,E,1,05,1.9,,,,,,");
    const std::string rmc = Sentence("GNRMC,093000.00,A,4808.2200,N,01134.5000,E,0.0,,140626,,");
    const std::string sirf = SirfBinaryFrame(std::string(200, '\xFF')); // sum above 15 bits
    const std::string ubx = UbxFrame(0x01, 0x07, std::string(92, '\x5A'));
    const std::string emptyUbx = UbxFrame(0x0A, 0x04, "");
    const struct {
        std::string bytes;
        StreamKind kind;
        const char *legend;
    } cases[] = {
        {"", StreamKind::Silence, "nothing"},
        {std::string(1, '\0'), StreamKind::Garbage, "one NUL byte"},
        {gga + rmc, StreamKind::Nmea, "two sentences, two talkers"},
        {gga + gga, StreamKind::Nmea, "the same sentence twice"},
        {gga, StreamKind::Garbage, "one sentence is not enough"},
        {gga + rmc.substr(0, rmc.size() - 2), StreamKind::Garbage, "second without line end"},
        {gga + rmc.substr(0, rmc.size() - 1), StreamKind::Nmea, "CR alone ends a sentence"},
        {"$GPZDA,1*55\n$GPZDA,1*55\n", StreamKind::Nmea, "LF alone"},
        {"$GPZDA,.*4a\r\n$GPZDA,.*4A\r\n", StreamKind::Nmea, "lower-case hex digits"},
        {"$GPZDA,1*54\r\n$GPZDA,1*54\r\n", StreamKind::Garbage, "checksums off by one"},
        {"$GPZDA,1\r\n$GPZDA,1\r\n", StreamKind::Garbage, "no checksum: nothing to trust"},
        {"$*00\r\n$*00\r\n", StreamKind::Garbage, "no address"},
        {"$g*67\r\n$g*67\r\n", StreamKind::Garbage, "address of one letter"},
        {"$gpzda*68\r\n$gpzda*68\r\n", StreamKind::Garbage, "lower-case address"},
        {"$PUBX,00*33\r\n$PSRF103,00,00,01,01*25\r\n", StreamKind::Nmea, "proprietary"},
        {"$GP$GPZDA,1*55\r\n$GPZDA,1*55\r\n", StreamKind::Nmea, "a cut sentence before"},
        {"$GPZDA,\x01*65\r\n$GPZDA,1*55\r\n", StreamKind::Garbage, "control byte"},
        {"$GPZDA,1*55 \r\n$GPZDA,1*55\r\n", StreamKind::Garbage, "blank after the checksum"},
        {"$" + std::string(300, 'A') + "\r\n" + gga + rmc, StreamKind::Nmea, "overlong line"},
        {sirf, StreamKind::SirfBinary, "15-bit checksum of a large sum"},
        {FromHex("A0 A2 00 00 00 00 B0 B3"), StreamKind::Garbage, "SiRF without payload"},
        {FromHex("A0 A2 80 01 02 00 02 B0 B3"), StreamKind::Garbage, "SiRF length of 16 bits"},
        {FromHex("A0 A2 00 01 02 00 02 B0 B4"), StreamKind::Garbage, "SiRF end bytes wrong"},
        {FromHex("A0 A2 A0 A2 00 01 A0") + sirf, StreamKind::SirfBinary, "sync bytes before"},
        {sirf.substr(0, sirf.size() - 1), StreamKind::Garbage, "SiRF one byte short"},
        {ubx, StreamKind::Ubx, "NAV-PVT sized"},
        {emptyUbx, StreamKind::Ubx, "UBX without payload"},
        {FromHex("B5 62 B5 62 01") + ubx, StreamKind::Ubx, "UBX sync bytes before"},
        {ubx.substr(0, ubx.size() - 1), StreamKind::Garbage, "UBX one byte short"},
        {FromHex("B5 62 01 07 FF FF 00 00") + ubx, StreamKind::Ubx, "length past the end first"},
        {ubx + sirf, StreamKind::SirfBinary, "SiRF outranks UBX"},
        {sirf + gga + ubx + rmc, StreamKind::Nmea, "NMEA outranks both"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(Kind(ClassifyReceiverBytes(c.bytes)), Kind(c.kind));
    }
}

// A locked hunt stops reading: whatever is found must stay found as more bytes come. Every
// prefix of every fixture.
TEST(ReceiverBytes, MoreBytesNeverLowerTheKind)
{
    for (const char *file :
         {"nmea-gps.nmea", "nmea-multi.nmea", "nmea-noise-then-nmea.bin", "sirf-mid2.sirf",
          "ubx-nav-pvt.ubx", "ubx-and-nmea.bin", "wrong-gps-9600-at-4800.bin", "sirf-cut.sirf"}) {
        SCOPED_TRACE(file);
        const std::string bytes = Fixture(file);
        StreamKind last = StreamKind::Silence;
        for (std::size_t n = 0; n <= bytes.size(); ++n) {
            const StreamKind kind = ClassifyReceiverBytes(std::string_view(bytes).substr(0, n));
            ASSERT_GE(kind, last) << n << " bytes";
            last = kind;
        }
    }
}

// The simulated line itself: at the same speed every byte arrives as sent, 1 % off it still
// does (a UART tolerates a few percent), and a receiver that starts listening in the middle of
// a byte finds the frames after a few wrong bytes.
TEST(UartSimulator, RightSpeedPassesEveryByte)
{
    std::string bytes(256, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
    const std::string nmea = Fixture("nmea-gps.nmea");
    for (const int speed : HuntSpeeds()) {
        SCOPED_TRACE(speed);
        EXPECT_EQ(Heard(bytes + nmea, speed, speed), bytes + nmea);
        EXPECT_EQ(Heard(bytes + nmea, speed, speed + speed / 100), bytes + nmea);
        EXPECT_EQ(Heard(bytes + nmea, speed + speed / 100, speed), bytes + nmea);
        for (const std::int64_t fromBit : {13, 24, 1013}) {
            const std::string late = Heard(nmea, speed, speed, fromBit);
            EXPECT_NE(late, nmea.substr(static_cast<std::size_t>(fromBit / 10))) << "joined late";
            EXPECT_EQ(Kind(ClassifyReceiverBytes(late)), "NMEA");
        }
    }
}

// What every wrong speed of the hunt makes of each receiver's language: bytes, but never a
// lock; and the same at the right speed, joined late, locks.
TEST(ReceiverBytes, WrongSpeedsAreGarbage)
{
    const std::string sent[] = {Fixture("nmea-gps.nmea"), Fixture("nmea-multi.nmea"),
                                Fixture("sirf-mid2.sirf"), Fixture("ubx-nav-pvt.ubx")};
    const StreamKind right[] = {StreamKind::Nmea, StreamKind::Nmea, StreamKind::SirfBinary,
                                StreamKind::Ubx};
    for (std::size_t s = 0; s < std::size(sent); ++s) {
        for (const int sentBaud : HuntSpeeds()) {
            for (const int heardBaud : HuntSpeeds()) {
                SCOPED_TRACE(std::to_string(s) + ": sent at " + std::to_string(sentBaud)
                             + ", heard at " + std::to_string(heardBaud));
                const StreamKind expected = sentBaud == heardBaud ? right[s] : StreamKind::Garbage;
                EXPECT_EQ(Kind(ClassifyReceiverBytes(Heard(sent[s], sentBaud, heardBaud, 25))),
                          Kind(expected));
            }
        }
    }
}
