#include "geo/UTM.h"

#include "base/Numbers.h"
#include "geo/GeoConstants.h"

#include <climits>
#include <cmath>
#include <cstdint>

namespace
{

// Literals on purpose: e2 is rounded to eight places and the rest follow from that value, so
// deriving them at run time from the exact ellipsoid would shift every position slightly.
constexpr double kA = 6378137.0;
constexpr double kE2 = 0.00669438;
constexpr double kEp2 = 0.006739496752268451;
constexpr double kOneMinusE2 = 0.99330562;
constexpr double kK0 = 0.9996;
constexpr double kFalseEasting = 500000.0;
constexpr double kFalseNorthingSouth = 1e7;
constexpr double kOneOver360 = 0.002777777777777778;
constexpr double kOneSixth = 0.16666666666666666;
constexpr double kOneOver24 = 0.041666666666666664;
constexpr double kOneOver120 = 0.008333333333333333;
constexpr double kOneOver720 = 0.001388888888888889;
constexpr double kM0 = 0.9983242984503243;
constexpr double kM2 = 0.002514607064228144;
constexpr double kM4 = 2.6390466021299826e-6;
constexpr double kM6 = 3.418046101696858e-9;
constexpr double k58Ep2 = 0.39089081163157013;
constexpr double k330Ep2 = 2.2240339282485886;
constexpr double k9Ep2 = 0.06065547077041606;
constexpr double k252Ep2 = 1.6983531815716497;
constexpr double k8Ep2 = 0.05391597401814761;
constexpr double kOneOverK0 = 1.0004001600640255;
constexpr double kOneOverAM0 = 1.5704876114115867e-7;

// What an unreadable zone text reads as: no zone and a letter that is no band, so the
// position counts as northern.
constexpr std::uint32_t kUnreadableZone = 0;
constexpr char kUnreadableLetter = 'Z';

// "%u%c": the letter is the character right after the digits, a blank included.
void ReadZone(std::string_view text, std::uint32_t &number, char &letter)
{
    std::size_t end = 0;
    if (ScanUnsigned(text, number, &end) == 1 && end < text.size())
        letter = text[end];
}

} // namespace

int TruncToInt(double value)
{
    if (std::isnan(value))
        return 0;
    if (value <= static_cast<double>(INT_MIN))
        return INT_MIN;
    if (value >= static_cast<double>(INT_MAX))
        return INT_MAX;
    return static_cast<int>(value);
}

char UTMLetterDesignator(double latitude)
{
    if (latitude <= 84.0 && latitude >= 72.0)
        return 'X';
    // Eight-degree bands upward from -80; I and O are skipped as too like digits.
    constexpr char kBands[] = "CDEFGHJKLMNPQRSTUVW";
    for (int i = 0; i < 19; ++i) {
        const double lower = -80.0 + 8.0 * i;
        if (latitude >= lower && latitude < lower + 8.0)
            return kBands[i];
    }
    return 'Z';
}

void LatLonToUTM(const CGeoPosition &position, double &northing, double &easting, std::string &zone)
{
    const double lat = position.m_latitude;
    const double lon = position.m_longitude;

    const double shifted = lon + 180.0;
    const double L =
        shifted - static_cast<double>(TruncToInt(shifted * kOneOver360)) * 360.0 - 180.0;

    const int t = TruncToInt((L + 180.0) * -kOneSixth);
    // Saturates like the truncation instead of overflowing for absurd longitudes.
    int number = t == INT_MIN ? INT_MAX : 1 - t;
    if (lat >= 56.0 && lat < 64.0 && L >= 3.0 && L < 12.0)
        number = 32;
    if (lat >= 72.0 && lat < 84.0) {
        if (L >= 0.0 && L < 9.0)
            number = 31;
        else if (L >= 9.0 && L < 21.0)
            number = 33;
        else if (L >= 21.0 && L < 33.0)
            number = 35;
        else if (L >= 33.0 && L < 42.0)
            number = 37;
    }
    zone = FormatC("%d%c", number, UTMLetterDesignator(lat));

    const double phi = lat * kDegToRad;
    const double lambda = L * kDegToRad;
    const double lambda0 = (static_cast<double>(number) * 6.0 - 183.0) * kDegToRad;

    const double sinPhi = std::sin(phi);
    const double cosPhi = std::cos(phi);
    const double tanPhi = std::tan(phi);
    const double N = kA / std::sqrt(1.0 - kE2 * sinPhi * sinPhi);
    const double T = tanPhi * tanPhi;
    const double C = kEp2 * cosPhi * cosPhi;
    const double A = cosPhi * (lambda - lambda0);
    const double M = kA
                     * (kM0 * phi - kM2 * std::sin(2.0 * phi) + kM4 * std::sin(4.0 * phi)
                        - kM6 * std::sin(6.0 * phi));

    easting =
        kK0 * N
            * (A + (1.0 - T + C) * A * A * A * kOneSixth
               + (5.0 - 18.0 * T + T * T + 72.0 * C - k58Ep2) * A * A * A * A * A * kOneOver120)
        + kFalseEasting;
    northing =
        kK0
        * (M
           + N * tanPhi
                 * (A * A * 0.5 + (5.0 - T + 9.0 * C + 4.0 * C * C) * A * A * A * A * kOneOver24
                    + (61.0 - 58.0 * T + T * T + 600.0 * C - k330Ep2) * A * A * A * A * A * A
                          * kOneOver720));
    if (lat < 0.0)
        northing = northing + kFalseNorthingSouth;
}

void UTMToLatLon(CGeoPosition &position, double northing, double easting, std::string_view zone)
{
    const double e1 = (1.0 - std::sqrt(kOneMinusE2)) / (1.0 + std::sqrt(kOneMinusE2));

    const double x = easting - kFalseEasting;
    double y = northing;

    std::uint32_t number = kUnreadableZone;
    char letter = kUnreadableLetter;
    ReadZone(zone, number, letter);
    // Compared as a byte: a non-ASCII character is no southern band.
    if (static_cast<unsigned char>(letter) < 'N')
        y = y - kFalseNorthingSouth;

    // The number is read with "%u" but written with "%d"; as int32 a negative zone comes back.
    const double central =
        (static_cast<double>(static_cast<std::int32_t>(number)) - 1.0) * 6.0 - 180.0 + 3.0;

    const double mu = y * kOneOverK0 * kOneOverAM0;
    const double phi1 = mu + (1.5 * e1 - 0.84375 * e1 * e1 * e1) * std::sin(2.0 * mu)
                        + (1.3125 * e1 * e1 - 1.71875 * e1 * e1 * e1 * e1) * std::sin(4.0 * mu)
                        + 1.5729166666666665 * e1 * e1 * e1 * std::sin(6.0 * mu);

    const double sinPhi1 = std::sin(phi1);
    const double cosPhi1 = std::cos(phi1);
    const double tanPhi1 = std::tan(phi1);
    const double w = 1.0 - kE2 * sinPhi1 * sinPhi1;
    const double N1 = kA / std::sqrt(w);
    const double T1 = tanPhi1 * tanPhi1;
    const double C1 = kEp2 * cosPhi1 * cosPhi1;
    const double R1 = kA * kOneMinusE2 / std::pow(w, 1.5);
    const double D = x / (N1 * kK0);

    const double lat =
        phi1
        - (N1 * tanPhi1 / R1)
              * (D * D * 0.5
                 - (5.0 + 3.0 * T1 + 10.0 * C1 - 4.0 * C1 * C1 - k9Ep2) * D * D * D * D * kOneOver24
                 + (61.0 + 90.0 * T1 + 298.0 * C1 + 45.0 * T1 * T1 - k252Ep2 - 3.0 * C1 * C1) * D
                       * D * D * D * D * D * kOneOver720);
    const double lon = (D - (1.0 + 2.0 * T1 + C1) * D * D * D * kOneSixth
                        + (5.0 - 2.0 * C1 + 28.0 * T1 - 3.0 * C1 * C1 + k8Ep2 + 24.0 * T1 * T1) * D
                              * D * D * D * D * kOneOver120)
                       / cosPhi1;

    position.m_latitude = lat * kRadToDeg;
    position.m_longitude = central + lon * kRadToDeg;
}
