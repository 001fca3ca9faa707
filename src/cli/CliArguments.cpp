#include "CliArguments.h"

#include "Cli.h"

#include <algorithm>
#include <cstdio>

bool LooksLikeOption(std::string_view arg)
{
    return arg.size() > 1 && arg.front() == '-';
}

std::optional<int> ReadArguments(const std::vector<std::string_view> &args, std::size_t first,
                                 const CCliSyntax &syntax)
{
    for (std::size_t i = first; i < args.size(); ++i) {
        const std::string_view a = args[i];
        if (syntax.help != nullptr && IsHelp(a)) {
            std::fputs(syntax.help, stdout);
            return kExitOk;
        }
        const auto option = std::find_if(syntax.options.begin(), syntax.options.end(),
                                         [a](const CCliOption &o) { return o.name == a; });
        if (option == syntax.options.end()) {
            if (syntax.isOption(a))
                return UsageError((syntax.usage.empty() ? syntax.command : syntax.usage)
                                  + ": unknown option '" + std::string(a) + "'");
            if (const int status = syntax.operand(a); status != kExitOk)
                return status;
            continue;
        }
        const auto missing = [&] {
            return syntax.command + ": " + std::string(a) + " needs " + option->needs;
        };
        std::string_view value;
        if (option->needs != nullptr) {
            if (i + 1 == args.size() || (args[i + 1].empty() && !option->takesEmpty))
                return UsageError(missing());
            value = args[++i];
        }
        if (std::string error; !option->take(value, error))
            return UsageError(error.empty() ? missing() : error);
    }
    return std::nullopt;
}

bool PrintHelpIfAsked(const std::vector<std::string_view> &args, const char *help)
{
    if (std::none_of(args.begin(), args.end(), IsHelp))
        return false;
    std::fputs(help, stdout);
    return true;
}

CCliOption FlagOption(std::string_view name, bool &target)
{
    return {name, nullptr, [&target](std::string_view, std::string &) {
                target = true;
                return true;
            }};
}

CCliOption GnssOption(GnssMode &target, std::string bad)
{
    return {"--gnss", "all or gps", [&target, bad](std::string_view value, std::string &error) {
                const std::optional<GnssMode> mode = GnssModeFromName(value);
                if (!mode) {
                    error = bad;
                    return false;
                }
                target = *mode;
                return true;
            }};
}

std::function<int(std::string_view)> OneFile(const std::string &command,
                                             std::optional<std::string> &file)
{
    return [command, &file](std::string_view arg) {
        if (arg.empty())
            return UsageError(command + ": empty FILE");
        if (file)
            return UsageError(command + ": more than one FILE given");
        file = std::string(arg);
        return kExitOk;
    };
}
