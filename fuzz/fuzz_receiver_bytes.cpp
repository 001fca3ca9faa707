// The baud-rate hunt's classifier on any bytes: it never crashes, the same bytes (in another
// buffer, with nothing appended) read as the same kind, only no bytes are silence, and more bytes
// never lower the kind, since a hunt stops listening once it has found one. The first two bytes
// choose where the prefix ends.
#include "receiver/ReceiverBytes.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size < 2)
        return 0;
    const std::size_t cut = static_cast<std::size_t>(data[0]) << 8 | data[1];
    const std::string_view bytes(reinterpret_cast<const char *>(data) + 2, size - 2);
    const StreamKind kind = ClassifyReceiverBytes(bytes);
    if (ClassifyReceiverBytes(std::string(bytes) + "") != kind)
        __builtin_trap();
    if ((kind == StreamKind::Silence) != bytes.empty())
        __builtin_trap();
    if (ClassifyReceiverBytes(bytes.substr(0, cut)) > kind)
        __builtin_trap();
    return 0;
}
