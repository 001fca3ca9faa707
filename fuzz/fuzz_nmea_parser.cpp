// Bytes from the wire: cut into lines as the reader does and parsed by one parser, so state carried
// between sentences is exercised too; then the whole input as a single over-long line.
#include "nmea/LineAssembler.h"
#include "nmea/NMEAParser.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace
{

void CheckInvariants(const CNMEAParser &p)
{
    const CGSASentence &gsa = p.m_gsa;
    if (gsa.m_used.GetSize() > CUsedSatellites::kCapacity)
        __builtin_trap();
    if (gsa.m_pdopHistory.GetSize() > CDOPHistory::kLength)
        __builtin_trap();
    if (p.m_gsv.m_moreToCome != (p.m_gsv.m_messageCount != p.m_gsv.m_messageNumber))
        __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view bytes(reinterpret_cast<const char *>(data), size);
    CNMEAParser parser;
    CLineAssembler assembler;
    assembler.Feed(bytes, [&](std::string_view line) {
        const int type = parser.Parse(line);
        if (type < kSentenceNone || type >= kSentenceTypeCount)
            __builtin_trap();
        CheckInvariants(parser);
    });
    parser.Parse(bytes);
    CheckInvariants(parser);
    return 0;
}
