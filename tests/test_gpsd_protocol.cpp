#include "receiver/GpsdProtocol.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

// gpsd's reports as gpsd 3.22 writes them, and lines that are none.
TEST(GpsdProtocol, ReadsTheReportsAClientNeeds)
{
    using K = CGpsdReport::Kind;
    const struct {
        const char *line;
        K kind;
        std::vector<std::string> paths;
        bool activated;
        const char *text;
    } cases[] = {
        {R"({"class":"VERSION","release":"3.22","rev":"3.22","proto_major":3,"proto_minor":14})",
         K::Version,
         {},
         false,
         "3.22"},
        {R"({"class":"DEVICES","devices":[]})", K::Devices, {}, false, ""},
        {R"({"class":"DEVICES","devices":[{"class":"DEVICE","path":"/dev/pts/0","activated":)"
         R"("2026-11-25T16:28:34.379Z","native":0,"bps":38400,"parity":"N","stopbits":1,)"
         R"("cycle":1.00},{"class":"DEVICE","path":"/dev/ttyACM0","activated":"x"}]})",
         K::Devices,
         {"/dev/pts/0", "/dev/ttyACM0"},
         true,
         ""},
        {R"({"class":"DEVICE","path":"/dev/ttyUSB0","activated":0})",
         K::Device,
         {"/dev/ttyUSB0"},
         false,
         ""},
        {R"({"class":"DEVICE","path":"/dev/ttyUSB0","activated":"2026-11-25T16:28:34.379Z"})",
         K::Device,
         {"/dev/ttyUSB0"},
         true,
         ""},
        {R"({"class":"WATCH","enable":true,"json":false,"nmea":true,"raw":0})",
         K::Watch,
         {},
         false,
         ""},
        {R"({"class":"ERROR","message":"Unrecognized request '?WTCH'"})",
         K::Error,
         {},
         false,
         "Unrecognized request '?WTCH'"},
        {R"({"class":"TPV","device":"/dev/pts/0","mode":3})", K::Other, {}, false, ""},
        {R"({"no class":1})", K::Other, {}, false, ""},
        {"{", K::Other, {}, false, ""},
        {"$GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,*47\r\n",
         K::None,
         {},
         false,
         ""},
        {"", K::None, {}, false, ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.line);
        const CGpsdReport r = ParseGpsdReport(c.line);
        EXPECT_EQ(r.kind, c.kind);
        EXPECT_EQ(r.paths, c.paths);
        EXPECT_EQ(r.activated, c.activated);
        EXPECT_EQ(r.text, c.text);
        EXPECT_EQ(IsGpsdReport(c.line), c.kind != K::None);
    }
}

TEST(GpsdProtocol, WatchCommandNamesTheDevice)
{
    EXPECT_EQ(GpsdWatchCommand(""), "?WATCH={\"enable\":true,\"nmea\":true}\n");
    EXPECT_EQ(GpsdWatchCommand("/dev/ttyACM0"),
              "?WATCH={\"enable\":true,\"nmea\":true,\"device\":\"/dev/ttyACM0\"}\n");
    EXPECT_EQ(GpsdWatchCommand(R"(/dev/odd"name\)"),
              "?WATCH={\"enable\":true,\"nmea\":true,\"device\":\"/dev/odd\\\"name\\\\\"}\n");
}
