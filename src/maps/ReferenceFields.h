#pragma once

#include "geo/CoordinateFields.h"
#include "geo/CoordinateFormat.h"
#include "maps/PositionPair.h"

#include <string>

/// The texts of the reference point form: name, coordinates and the map pixel.
struct CReferenceFields {
    std::string m_name;
    CCoordinateFields m_coordinates;
    std::string m_x;
    std::string m_y;

    bool operator==(const CReferenceFields &) const = default;
};

/// The form as it shows `pair` in `format`.
[[nodiscard]] CReferenceFields FieldsOfPair(const CPositionPair &pair, CoordinateFormat format);

/// Writes the form into `pair` ("Add" on the pair being edited, "Update"). Numbers are read as
/// far as they go ("12ab" is 12); a text that is no number keeps the previous value. A UTM text
/// that is unreadable or a position off the earth writes nothing at all: false, with the reason
/// for the user in `problem`.
bool ApplyPairFields(const CReferenceFields &fields, CoordinateFormat format, CPositionPair &pair,
                     const char **problem = nullptr);

/// The "PositionPair" column of a list row: "(position) -> (x, y)".
[[nodiscard]] std::string PairText(const CPositionPair &pair, CoordinateFormat format);
