// The recording's promise: whatever the bytes and however the reads cut them, the raw lines the
// assembler hands on, followed by what is still pending, are the input byte for byte, in both
// modes. The first byte chooses the mode, the next two where the reads split.
#include "nmea/LineAssembler.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size < 3)
        return 0;
    const GnssMode mode = (data[0] & 1) != 0 ? GnssMode::AllSystems : GnssMode::GpsOnly;
    const std::size_t step = 1 + (static_cast<std::size_t>(data[1]) << 8 | data[2]);
    std::string_view bytes(reinterpret_cast<const char *>(data) + 3, size - 3);
    const std::string_view input = bytes;
    CLineAssembler assembler(mode);
    std::string recorded;
    while (!bytes.empty()) {
        const std::string_view read = bytes.substr(0, step);
        bytes.remove_prefix(read.size());
        assembler.Feed(read, [&](std::string_view line) {
            const std::string_view raw = assembler.GetRaw();
            if (raw.substr(0, line.size()) != line)
                __builtin_trap(); // the parsed text is where its bytes came from
            recorded.append(raw);
        });
    }
    recorded.append(assembler.GetPendingBytes());
    if (recorded != input)
        __builtin_trap();
    return 0;
}
