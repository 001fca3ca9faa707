#include "receiver/PortDoctor.h"

#include <cerrno>
#include <gtest/gtest.h>

namespace
{

CPortFacts Facts(int openError)
{
    CPortFacts facts;
    facts.device = "/dev/ttyUSB0";
    facts.openError = openError;
    return facts;
}

CPortFacts Denied(const char *group, bool mayUse, bool inDatabase, bool inLogin)
{
    CPortFacts facts = Facts(EACCES);
    facts.groupName = group;
    facts.groupMayUse = mayUse;
    facts.inGroupDatabase = inDatabase;
    facts.inGroupLogin = inLogin;
    return facts;
}

CPortFacts Busy(std::vector<CPortHolder> holders, CPortHolder lockOwner = {},
                bool gpsdHoldsIt = false, bool gpsdRunning = false, bool modemManager = false)
{
    CPortFacts facts = Facts(EBUSY);
    facts.holders = std::move(holders);
    facts.lockOwner = std::move(lockOwner);
    facts.gpsdHoldsIt = gpsdHoldsIt;
    facts.gpsdRunning = gpsdRunning;
    facts.modemManagerRunning = modemManager;
    return facts;
}

CPortFacts Missing(int openError, std::vector<CPortCandidate> candidates)
{
    CPortFacts facts = Facts(openError);
    facts.candidates = std::move(candidates);
    return facts;
}

CPortCandidate Port(const char *device, const char *stableName, const char *friendlyName)
{
    CPortCandidate port;
    port.device = device;
    port.stableName = stableName;
    port.friendlyName = friendlyName;
    return port;
}

const std::vector<CPortCandidate> kTwoPorts{
    Port("/dev/ttyACM0", "/dev/serial/by-id/usb-u-blox_AG_-_www.u-blox.com_u-blox_7-if00",
         "u-blox AG u-blox 7 - GPS/GNSS Receiver"),
    Port("/dev/ttyS0", "", "Serial port")};
const char *const kTwoPortsText =
    "Serial ports found:\n"
    "  /dev/serial/by-id/usb-u-blox_AG_-_www.u-blox.com_u-blox_7-if00 (/dev/ttyACM0): u-blox AG "
    "u-blox 7 - GPS/GNSS Receiver\n"
    "  /dev/ttyS0: Serial port";
const char *const kNoPortText = "No serial port is plugged in: plug the receiver in and try again.";
const char *const kGpsdWhy = "/dev/ttyUSB0 is in use by gpsd, the GPS service.";
const char *const kGpsdAdvice =
    "Veloran can read the receiver through gpsd instead (source gpsd://localhost), or stop gpsd "
    "first: sudo systemctl stop gpsd.socket gpsd";
const char *const kModemManagerWhy = "/dev/ttyUSB0 is in use by ModemManager, which tries every "
                                     "new serial device as a modem.";
const char *const kModemManagerAdvice =
    "Wait a few seconds and try again; if it keeps the port, stop it: sudo systemctl stop "
    "ModemManager";

} // namespace

TEST(PortDoctorTest, FactsBecomeWhyAndWhatToDo)
{
    struct Case {
        const char *legend;
        CPortFacts facts;
        const char *why;
        const char *whatToDo;
        bool readThroughGpsd;
    };
    const Case cases[] = {
        {"not in the group at all", Denied("dialout", true, false, false),
         "You may not open /dev/ttyUSB0: it belongs to the group dialout, and you are not a "
         "member.",
         "Join the group with 'sudo adduser $USER dialout', then log out and in again.", false},
        {"the group by its own name", Denied("uucp", true, false, false),
         "You may not open /dev/ttyUSB0: it belongs to the group uucp, and you are not a member.",
         "Join the group with 'sudo adduser $USER uucp', then log out and in again.", false},
        {"joined, this login older than that", Denied("dialout", true, true, false),
         "You may not open /dev/ttyUSB0 yet: it belongs to the group dialout, which you joined "
         "after this login began.",
         "Log out and in again (or restart the computer) to take the group up.", false},
        {"in the group, refused all the same", Denied("dialout", true, true, true),
         "You may not open /dev/ttyUSB0, although this login is in its group dialout.",
         "Something else refuses it (an access list or a security module); 'ls -l /dev/ttyUSB0' "
         "shows its permissions.",
         false},
        {"the group may not use it either", Denied("root", false, false, false),
         "You may not open /dev/ttyUSB0: not even its group root may read and write it.",
         "Ask the administrator to give the group read and write access (a udev rule with "
         "MODE=\"0660\").",
         false},
        {"group unknown", Denied("", true, false, false), "You may not open /dev/ttyUSB0.",
         "Your user needs read and write access to it; 'ls -l /dev/ttyUSB0' shows who has it.",
         false},
        {"EPERM as EACCES",
         [] {
             CPortFacts f = Denied("dialout", true, false, false);
             f.openError = EPERM;
             return f;
         }(),
         "You may not open /dev/ttyUSB0: it belongs to the group dialout, and you are not a "
         "member.",
         "Join the group with 'sudo adduser $USER dialout', then log out and in again.", false},

        {"gpsd's device list names it", Busy({}, {}, true), kGpsdWhy, kGpsdAdvice, true},
        {"gpsd seen holding it", Busy({{812, "gpsd"}}), kGpsdWhy, kGpsdAdvice, true},
        {"gpsd owns the lock", Busy({}, {812, "gpsd"}), kGpsdWhy, kGpsdAdvice, true},
        {"gpsd before another holder", Busy({{77, "minicom"}, {812, "gpsd"}}), kGpsdWhy,
         kGpsdAdvice, true},
        {"ModemManager holds it", Busy({{640, "ModemManager"}}), kModemManagerWhy,
         kModemManagerAdvice, false},
        {"another program", Busy({{4242, "minicom"}}),
         "/dev/ttyUSB0 is in use by minicom (process 4242).", "Close that program and try again.",
         false},
        {"several programs", Busy({{1, "screen"}, {2, "minicom"}, {3, ""}}),
         "/dev/ttyUSB0 is in use by screen (process 1), minicom (process 2) and process 3.",
         "Close those programs and try again.", false},
        {"a live lock file", Busy({}, {4242, "cu"}), "/dev/ttyUSB0 is locked by cu (process 4242).",
         "Close that program and try again.", false},
        {"holder unseen, gpsd running", Busy({}, {}, false, true),
         "/dev/ttyUSB0 is in use by another program; gpsd is running and may be the one.",
         "If it is, Veloran can read the receiver through gpsd (source gpsd://localhost); else "
         "close the program that holds the port ('sudo fuser -v /dev/ttyUSB0' names it).",
         false},
        {"holder unseen, ModemManager running", Busy({}, {}, false, false, true),
         "/dev/ttyUSB0 is in use by another program, perhaps ModemManager, which tries every new "
         "serial device as a modem.",
         "Wait a few seconds and try again; if it stays busy, close the program that holds it "
         "('sudo fuser -v /dev/ttyUSB0' names it).",
         false},
        {"holder unknown", Busy({}), "/dev/ttyUSB0 is in use by another program.",
         "Close it and try again ('sudo fuser -v /dev/ttyUSB0' names it).", false},

        {"not there, others are", Missing(ENOENT, kTwoPorts),
         "/dev/ttyUSB0 is not there: the receiver is unplugged, or has another name now.",
         kTwoPortsText, false},
        {"not there, nothing plugged in", Missing(ENOENT, {}),
         "/dev/ttyUSB0 is not there: the receiver is unplugged, or has another name now.",
         kNoPortText, false},
        {"a folder on the way is a file", Missing(ENOTDIR, {}),
         "/dev/ttyUSB0 is not there: the receiver is unplugged, or has another name now.",
         kNoPortText, false},
        {"a node without hardware", Missing(EIO, kTwoPorts),
         "There is no device behind /dev/ttyUSB0.", kTwoPortsText, false},
        {"ENXIO", Missing(ENXIO, {}), "There is no device behind /dev/ttyUSB0.", kNoPortText,
         false},
        {"ENODEV", Missing(ENODEV, {}), "There is no device behind /dev/ttyUSB0.", kNoPortText,
         false},
        {"no terminal", Missing(ENOTTY, kTwoPorts), "/dev/ttyUSB0 is not a serial port.",
         kTwoPortsText, false},

        {"opens", Facts(0), "", "", false},
        {"an error the doctor does not know", Facts(EINVAL), "", "", false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        const CPortDiagnosis diagnosis = DiagnosePort(c.facts);
        EXPECT_EQ(diagnosis.why, c.why);
        EXPECT_EQ(diagnosis.whatToDo, c.whatToDo);
        EXPECT_EQ(diagnosis.readThroughGpsd, c.readThroughGpsd);
    }
}

TEST(PortDoctorTest, TextIsWhyThenWhatToDo)
{
    EXPECT_EQ(DiagnosePort(Busy({{4242, "minicom"}})).GetText(),
              "/dev/ttyUSB0 is in use by minicom (process 4242).\nClose that program and try "
              "again.");
    EXPECT_EQ((CPortDiagnosis{"why", "", false}).GetText(), "why");
    EXPECT_EQ(DiagnosePort(Facts(0)).GetText(), "");
}

TEST(PortDoctorTest, GpsdDeviceList)
{
    struct Case {
        const char *legend;
        const char *line;
        std::vector<std::string> paths;
    } cases[] = {
        {"two devices",
         R"({"class":"DEVICES","devices":[{"class":"DEVICE","path":"/dev/ttyACM0","driver":"u-blox",)"
         R"("activated":"2024-05-01T10:00:00.000Z","flags":1,"native":1,"bps":9600},)"
         R"({"class":"DEVICE","path":"/dev/ttyUSB1","activated":"2024-05-01T10:00:01.000Z"}]})",
         {"/dev/ttyACM0", "/dev/ttyUSB1"}},
        {"none", R"({"class":"DEVICES","devices":[]})", {}},
        {"escaped characters",
         R"({"class":"DEVICES","devices":[{"path":"\/dev\/a\"b\\c"}]})",
         {"/dev/a\"b\\c"}},
        {"blanks around the colon",
         R"({"class": "DEVICES", "devices": [{"path" : "/dev/x"}]})",
         {"/dev/x"}},
        {"the banner is no answer",
         R"({"class":"VERSION","release":"3.22","rev":"3.22","proto_major":3,"proto_minor":14})",
         {}},
        {"a DEVICE report alone", R"({"class":"DEVICE","path":"/dev/ttyACM0","activated":0})", {}},
        {"cut off inside a path", R"({"class":"DEVICES","devices":[{"path":"/dev/tty)", {}},
        {"path not a string", R"({"class":"DEVICES","devices":[{"path":7}]})", {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(ParseGpsdDevicePaths(c.line), c.paths);
    }
}
