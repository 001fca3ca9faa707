#pragma once

#include "nmea/GnssSystem.h"

#include <charconv>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A whole argument in decimal, nothing before or after it.
template <class Integer> bool ParseIntegerArgument(std::string_view text, Integer &value)
{
    const char *end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value);
    return !text.empty() && ec == std::errc() && ptr == end;
}

/// One option of a command.
struct CCliOption {
    std::string_view name = {}; ///< "--gnss"
    /// What its value is, for "COMMAND: --gnss needs all or gps"; nullptr for a flag.
    const char *needs = nullptr;
    /// Takes the value (empty for a flag). False for a bad one: the usage error is then `error`,
    /// or the one of a missing value while `error` stays empty.
    std::function<bool(std::string_view value, std::string &error)> take = {};
    /// An empty value is passed on; otherwise it counts as missing.
    bool takesEmpty = false;
};

/// `-x`, `--x`: what reads as an option rather than an operand ("-" alone is standard input).
bool LooksLikeOption(std::string_view arg);

/// How a command reads its arguments.
struct CCliSyntax {
    std::string command = {}; ///< "parse", "maps": starts the message of a missing value
    std::string usage = {};   ///< starts the message of an unknown option; `command` when empty
    /// Printed for --help or -h met in turn (not as an option's value); nullptr: not looked for.
    const char *help = nullptr;
    std::vector<CCliOption> options = {};
    /// Whether an argument no option takes is an unknown option rather than an operand.
    std::function<bool(std::string_view)> isOption = LooksLikeOption;
    /// Takes an operand: 0, or the exit status of the usage error it reported.
    std::function<int(std::string_view)> operand = {};
};

/// Reads `args` from `first` on as `syntax` says. The exit status when the command ends here
/// (help printed, a usage error reported), else nothing.
std::optional<int> ReadArguments(const std::vector<std::string_view> &args, std::size_t first,
                                 const CCliSyntax &syntax);

/// Prints `help` when any of `args` asks for it, whatever its place; true then.
bool PrintHelpIfAsked(const std::vector<std::string_view> &args, const char *help);

CCliOption FlagOption(std::string_view name, bool &target);

/// An option whose value is kept as it is (std::string or std::optional<std::string>).
template <class Text> CCliOption TextOption(std::string_view name, const char *needs, Text &target)
{
    return {name, needs, [&target](std::string_view value, std::string &) {
                target = std::string(value);
                return true;
            }};
}

/// An option whose value names one of `choices`. Any other is reported as "UNKNOWN 'VALUE'
/// (NEEDS)", or as a missing value while `unknown` is empty.
template <class Value, class Target>
CCliOption ChoiceOption(std::string_view name, const char *needs, Target &target,
                        std::vector<std::pair<std::string_view, Value>> choices,
                        std::string unknown = {})
{
    return {name, needs,
            [&target, needs, choices = std::move(choices),
             unknown = std::move(unknown)](std::string_view value, std::string &error) {
                for (const auto &[text, choice] : choices) {
                    if (value == text) {
                        target = choice;
                        return true;
                    }
                }
                if (!unknown.empty())
                    error = unknown + " '" + std::string(value) + "' (" + needs + ")";
                return false;
            }};
}

/// An option whose value is a whole decimal number, at least `min`. Any other is reported as
/// "BAD 'VALUE'", or as a missing value while `bad` is empty.
template <class Integer, class Target>
CCliOption IntegerOption(std::string_view name, const char *needs, Target &target,
                         std::string bad = {}, Integer min = std::numeric_limits<Integer>::min())
{
    return {name, needs,
            [&target, bad = std::move(bad), min](std::string_view value, std::string &error) {
                Integer parsed{};
                if (ParseIntegerArgument(value, parsed) && parsed >= min) {
                    target = parsed;
                    return true;
                }
                if (!bad.empty())
                    error = bad + " '" + std::string(value) + "'";
                return false;
            }};
}

/// --gnss all|gps; `bad` replaces the message of a missing value for an unknown one.
CCliOption GnssOption(GnssMode &target, std::string bad = {});

/// The operand of a command that reads one FILE, neither empty nor given twice.
std::function<int(std::string_view)> OneFile(const std::string &command,
                                             std::optional<std::string> &file);
