#include "maps/ReferenceFields.h"

#include "base/Numbers.h"

CReferenceFields FieldsOfPair(const CPositionPair &pair, CoordinateFormat format)
{
    return {pair.m_name, CoordinateFieldsOf(pair.m_position, format), FormatC("%d", pair.m_point.x),
            FormatC("%d", pair.m_point.y)};
}

bool ApplyPairFields(const CReferenceFields &fields, CoordinateFormat format, CPositionPair &pair,
                     const char **problem)
{
    const char *why = CoordinateFieldsProblem(fields.m_coordinates, format, pair.m_position);
    if (problem != nullptr)
        *problem = why;
    // A pair half written would hide the refused position behind the old one.
    if (why != nullptr)
        return false;
    pair.m_name = fields.m_name;
    ReadCoordinateFields(fields.m_coordinates, format, pair.m_position);
    ScanInt(fields.m_x, pair.m_point.x);
    ScanInt(fields.m_y, pair.m_point.y);
    return true;
}

std::string PairText(const CPositionPair &pair, CoordinateFormat format)
{
    return FormatC("(%s) -> (%d, %d)", DisplayPosition(pair.m_position, ", ", format).c_str(),
                   pair.m_point.x, pair.m_point.y);
}
