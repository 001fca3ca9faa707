#pragma once

#include <string>

class CNMEAParser;

/// Appends one JSON object (one line, no newline) with the state of the sentence object that
/// line `n` updated; type < 0 gives {"n":N,"type":null}.
void AppendJsonLine(std::string &out, long long n, int type, const CNMEAParser &parser);

/// Appends a short human-readable line for an accepted sentence.
void AppendTextLine(std::string &out, long long n, int type, const CNMEAParser &parser);
