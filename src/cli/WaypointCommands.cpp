#include "Cli.h"
#include "CliArguments.h"
#include "CliDatabase.h"
#include "JsonDump.h"
#include "base/Numbers.h"
#include "geo/CoordinateFormat.h"
#include "geo/CoordinateRange.h"
#include "maps/MapDatabase.h"
#include "settings/DataDirectory.h"
#include "waypoints/WaypointDatabase.h"
#include "waypoints/WaypointExchange.h"

#include <QFile>
#include <QString>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

namespace
{

constexpr const char *kWaypointsHelp =
    "usage: veloran-cli waypoints list [--json] [--format dd|dm|dms|utm] [DATABASE]\n"
    "       veloran-cli waypoints import FILE... [--as gpx|loc] [DATABASE]\n"
    "       veloran-cli waypoints export OUT.gpx [DATABASE]\n"
    "\n"
    "Works on the waypoint database the window uses.\n"
    "\n"
    "  list       one line per waypoint: name and position (--format, default dd); with\n"
    "             --json one object per line with name, lat, lon, radius, desc, type, action\n"
    "  import     appends the waypoints of GPX and LOC files (type by extension unless --as)\n"
    "             in document order and saves the database; when a file fails to load or\n"
    "             the database would hold more than 1000000 waypoints or 256 MiB, nothing\n"
    "             is saved; waypoints with impossible coordinates are skipped and counted\n"
    "  export     writes the whole database as a GPX 1.0 file, replacing OUT.gpx (never a\n"
    "             database, device, FIFO or folder); impossible positions are skipped\n"
    "\n"
    "DATABASE is one of:\n"
    "  --db FILE      this database file\n"
    "  --data-dir DIR Waypoints.wdb in DIR (read from Worldpoints.wdb while it is missing)\n"
    "  (neither)      the same in $VELORAN_DATA_DIR, else ~/Documents/Veloran\n";

struct COptions {
    std::string command;
    std::vector<std::string> files;
    CDatabaseChoice where;
    std::optional<WaypointFileType> as;
    CoordinateFormat format = CoordinateFormat::DD;
    bool json = false;
};

std::string Lower(std::string_view text)
{
    std::string lower(text);
    for (char &c : lower)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return lower;
}

// 0 when parsed; else the exit status of the usage error already reported.
int ParseOptions(const std::vector<std::string_view> &args, COptions &options)
{
    if (args.empty())
        return UsageError("waypoints: missing list, import or export (try --help)");
    options.command = std::string(args.front());
    const std::string &command = options.command;
    if (command != "list" && command != "import" && command != "export")
        return UsageError("waypoints: unknown command '" + command + "' (list, import or export)");
    std::vector<CCliOption> table = DatabaseOptions(options.where);
    if (command == "list") {
        table.push_back(FlagOption("--json", options.json));
        table.push_back(ChoiceOption<CoordinateFormat>("--format", "dd, dm, dms or utm",
                                                       options.format,
                                                       {{"dd", CoordinateFormat::DD},
                                                        {"dm", CoordinateFormat::DDMM},
                                                        {"dms", CoordinateFormat::DDMMSS},
                                                        {"utm", CoordinateFormat::UTM}},
                                                       "waypoints: unknown format"));
    }
    if (command == "import")
        table.push_back(ChoiceOption<WaypointFileType>(
            "--as", "gpx or loc", options.as,
            {{"gpx", WaypointFileType::GPX}, {"loc", WaypointFileType::LOC}},
            "waypoints: unknown file type"));
    const CCliSyntax syntax{.command = "waypoints",
                            .usage = "waypoints " + command,
                            .options = std::move(table),
                            .operand = [&options](std::string_view a) {
                                if (a.empty())
                                    return UsageError("waypoints: empty file name");
                                options.files.emplace_back(a);
                                return kExitOk;
                            }};
    if (const std::optional<int> status = ReadArguments(args, 1, syntax))
        return *status;
    if (options.where.db && options.where.dataDir)
        return UsageError("waypoints: --db and --data-dir exclude each other");
    if (command == "list" && !options.files.empty())
        return UsageError("waypoints list: unexpected argument '" + options.files.front() + "'");
    if (command == "import" && options.files.empty())
        return UsageError("waypoints import: missing FILE");
    if (command == "export" && options.files.size() != 1)
        return UsageError("waypoints export: expected one OUT.gpx");
    if (command == "import" && !options.as) {
        for (const std::string &file : options.files) {
            const std::string lower = Lower(file);
            if (!lower.ends_with(".gpx") && !lower.ends_with(".loc"))
                return UsageError("waypoints import: no .gpx or .loc extension on '" + file
                                  + "' (use --as)");
        }
    }
    return kExitOk;
}

enum class Use { List, Import, Export };

constexpr const char *kInvalidPositionText = "(no position)";

const std::string kWaypointLimits = WaypointLimitText();

const CDatabaseKind<CWaypointLoad, CWaypointList> kWaypointDatabase = {
    kWaypointFileName,         kWorldpointFileName, LoadWaypointFile,
    &CWaypointLoad::waypoints, WaypointCodec,       kWaypointLimits.c_str()};

// The waypoint database of the command line; for an import an empty one starts where no file is.
struct CDatabase : CCliDatabase<CWaypointLoad, CWaypointList> {
    CDatabase()
        : CCliDatabase(kWaypointDatabase)
    {
    }
    int Open(const COptions &options, Use use)
    {
        return CCliDatabase::Open(options.where, use == Use::Import, use == Use::List);
    }
};

int List(const COptions &options)
{
    CDatabase database;
    if (const int status = database.Open(options, Use::List); status != kExitOk)
        return status;
    std::string out;
    for (const CWaypoint &w : database.m_items) {
        if (options.json) {
            out += "{\"name\":";
            AppendJsonText(out, w.m_name);
            out += ",\"lat\":";
            AppendJsonDegrees(out, w.m_position.m_latitude);
            out += ",\"lon\":";
            AppendJsonDegrees(out, w.m_position.m_longitude);
            out += ",\"radius\":";
            if (std::isfinite(w.m_radius))
                AppendJsonReal(out, w.m_radius);
            else
                out += "null";
            out += ",\"desc\":";
            AppendJsonText(out, w.m_description);
            out += FormatC(",\"type\":%d,\"action\":%d}\n", w.m_type, w.m_action);
        } else {
            // No zone for a position that cannot be; the other formats show what is stored.
            const bool noZone =
                options.format == CoordinateFormat::UTM && !IsValidPosition(w.m_position);
            out += OneLine(w.m_name) + '\t'
                   + (noZone ? std::string(kInvalidPositionText)
                             : FormatPosition(w.m_position, " ", options.format))
                   + '\n';
        }
    }
    std::fwrite(out.data(), 1, out.size(), stdout);
    return database.IsDamaged() ? kExitFile : kExitOk;
}

int Import(const COptions &options)
{
    CDatabase database;
    if (const int status = database.Open(options, Use::Import); status != kExitOk)
        return status;
    // Every file is read before anything is saved, so that a failed one leaves the database
    // as it was and the command can simply be run again.
    std::string report;
    CWaypointList imported;
    bool failed = false;
    for (const std::string &file : options.files) {
        WaypointFileType type = WaypointFileType::GPX;
        if (options.as)
            type = *options.as;
        else if (Lower(file).ends_with(".loc"))
            type = WaypointFileType::LOC;
        // No file may take more than the room left, so memory stays bounded by the limit.
        const std::size_t held = database.m_items.size() + imported.size();
        const std::size_t room = held < kMaxWaypoints ? kMaxWaypoints - held : 0;
        CImportResult result = ImportWaypoints(file, type, room);
        if (result.status == ImportStatus::TooMany) {
            FileError("cannot import", file,
                      "the waypoint database would hold more than a reader takes ("
                          + kWaypointLimits + "); nothing imported");
            failed = true;
            continue;
        }
        if (result.status != ImportStatus::Ok) {
            const char *message = result.status == ImportStatus::LoadFailed ? kLoadFailedMessage
                                                                            : kImportFailedMessage;
            FileError(message, file, result.detail);
            failed = true;
            continue;
        }
        report += ImportedMessage(static_cast<int>(result.waypoints.size())) + '\n';
        if (result.skipped > 0)
            report += SkippedMessage(result.skipped) + '\n';
        imported.insert(imported.end(), result.waypoints.begin(), result.waypoints.end());
    }
    if (failed)
        return kExitFile;
    CWaypointList all = database.m_items;
    all.insert(all.end(), imported.begin(), imported.end());
    if (std::size_t bytes = 0; CheckWaypointLimits(all, &bytes) != 0)
        return FileError("cannot import", options.files.front(),
                         "the waypoint database would hold " + std::to_string(all.size())
                             + " waypoints in " + std::to_string(bytes >> 20)
                             + " MiB, more than a reader takes (" + kWaypointLimits
                             + "); nothing imported");
    // Reported before the save: an output that takes nothing stops the command unchanged.
    if (const int status = WriteReport(report); status != kExitOk)
        return status;
    if (imported.empty())
        return kExitOk;
    return database.Save(imported);
}

int Export(const COptions &options)
{
    CDatabase database;
    if (const int status = database.Open(options, Use::Export); status != kExitOk)
        return status;
    const std::string &out = options.files.front();
    const QString dataDir = ChooseDataDirectory(
        options.where.dataDir ? QFile::decodeName(options.where.dataDir->c_str()) : QString());
    std::vector<std::string> databases =
        ProgramDatabasePaths(QFile::encodeName(dataDir).toStdString());
    databases.insert(databases.begin(), database.GetPath());
    if (const std::string problem = ExportTargetProblem(out, databases); !problem.empty())
        return FileError("cannot write", out, problem + "; nothing written");
    int skipped = 0;
    if (const int error = ExportGPXFile(out, database.m_items, nullptr, &skipped); error != 0)
        return FileError("cannot write", out, std::strerror(error));
    const int exported = static_cast<int>(database.m_items.size()) - skipped;
    std::printf("%s\n", ExportedMessage(exported).c_str());
    if (skipped > 0)
        std::printf("%s\n", SkippedMessage(skipped).c_str());
    return kExitOk;
}

} // namespace

int RunWaypoints(const std::vector<std::string_view> &args)
{
    if (PrintHelpIfAsked(args, kWaypointsHelp))
        return kExitOk;
    COptions options;
    if (const int status = ParseOptions(args, options); status != kExitOk)
        return status;
    if (options.command == "list")
        return List(options);
    if (options.command == "import")
        return Import(options);
    return Export(options);
}
