#include "base/FileExtension.h"

#include <gtest/gtest.h>

TEST(FileExtension, AddedOnlyWhenTheNameHasNone)
{
    struct Case {
        const char *typed, *expected, *legend;
    };
    const Case cases[] = {
        {"/home/u/drive1", "/home/u/drive1.nmea", "none typed"},
        {"/home/u/drive1.nmea", "/home/u/drive1.nmea", "already there"},
        {"/home/u/drive1.NMEA", "/home/u/drive1.NMEA", "another case is the user's choice"},
        {"/home/u/drive1.log", "/home/u/drive1.log", "another extension is kept"},
        {"/home/u/trip.v2", "/home/u/trip.v2", "letters and digits: an extension"},
        {"/home/u/drive 12.5", "/home/u/drive 12.5.nmea", "digits only: part of the name"},
        {"/home/u/2024.03.01", "/home/u/2024.03.01.nmea", "a date"},
        {"/home/u/drive1.", "/home/u/drive1.nmea", "a trailing dot asks for it"},
        {"/home/u/.hidden", "/home/u/.hidden.nmea", "a leading dot makes no extension"},
        {"/home/u/Mr. Smith", "/home/u/Mr. Smith.nmea", "a blank after the dot"},
        {"/home/u/my.logs/drive1", "/home/u/my.logs/drive1.nmea", "a dot in a folder"},
        {"/home/u/my.logs/", "/home/u/my.logs/", "no file name"},
        {"drive1", "drive1.nmea", "no folder"},
        {"", "", "cancelled"},
        {"/home/u/caf\xC3\xA9.n\xC3\xA9", "/home/u/caf\xC3\xA9.n\xC3\xA9.nmea",
         "non-ASCII letters after the dot are not taken for an extension"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(WithDefaultExtension(c.typed, "nmea"), c.expected);
    }
    EXPECT_EQ(WithDefaultExtension("/tmp/points", "gpx"), "/tmp/points.gpx");
}
