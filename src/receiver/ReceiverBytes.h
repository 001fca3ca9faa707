#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// What a receiver's bytes read as at one line speed. The order is the order of preference: a
/// stream that holds several kinds (a u-blox receiver sends UBX and NMEA side by side) counts as
/// the highest, and more bytes can only raise the kind, never lower it.
enum class StreamKind {
    Silence,    ///< no bytes at all
    Garbage,    ///< bytes, but none of the kinds below: most likely the wrong speed
    Ubx,        ///< a u-blox receiver speaking its binary protocol
    SirfBinary, ///< a SiRF receiver in binary mode; a command switches it back to NMEA
    Nmea,       ///< NMEA 0183 sentences, any talker
};

/// "silence", "garbage", "UBX", "SiRF binary", "NMEA".
[[nodiscard]] const char *StreamKindName(StreamKind kind);

/// Classifies bytes read from a receiver: NMEA needs two checksum-valid sentences (each from "$"
/// through "*HH" to a CR or LF), SiRF binary and UBX one whole frame each whose checksum holds.
/// A single sentence is not enough: its 8-bit checksum is matched by chance in noise far more
/// often than a frame's 15- or 16-bit one between fixed sync bytes. Unfinished sentences and
/// frames at the end do not count. Runs in time linear in the bytes.
[[nodiscard]] StreamKind ClassifyReceiverBytes(std::string_view bytes);

/// A SiRF binary frame around `payload` (its first byte the message ID): A0 A2, the payload
/// length (15 bits, big-endian), the payload, the 15-bit sum of its bytes (big-endian), B0 B3.
[[nodiscard]] std::string SirfBinaryFrame(std::string_view payload);

/// A UBX frame: B5 62, class, ID, the payload length (little-endian), the payload, and the
/// 8-bit Fletcher checksum CK_A CK_B over class through payload.
[[nodiscard]] std::string UbxFrame(std::uint8_t messageClass, std::uint8_t messageId,
                                   std::string_view payload);
