#pragma once

#include <string>
#include <string_view>

class CNMEAParser;

/// Appends one JSON object (one line, no newline) with the state of the sentence object that
/// line `n` updated; type < 0 gives {"n":N,"type":null}.
void AppendJsonLine(std::string &out, long long n, int type, const CNMEAParser &parser);

/// Appends a short human-readable line for an accepted sentence.
void AppendTextLine(std::string &out, long long n, int type, const CNMEAParser &parser);

/// A JSON number with the digits to read `v` back exactly; NaN and infinities as Python's json
/// writes them.
void AppendJsonReal(std::string &out, double v);

/// Degrees with six decimals; null for NaN or infinity, which a database may hold but JSON has
/// no word for.
void AppendJsonDegrees(std::string &out, double degrees);

/// UTF-8 text as a JSON string: well-formed sequences as they are, control characters escaped,
/// each byte that is no UTF-8 as \ufffd.
void AppendJsonText(std::string &out, std::string_view utf8);
