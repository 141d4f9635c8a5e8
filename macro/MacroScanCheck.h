// "--scan-macro=FILE": the scan of a macro file as an import would run it, as text for a terminal or a
// script. Needs no display and touches nothing of the user's.
#pragma once

#include <string>

// Reads the file as an import would (its events and the Key Spammer its profile would run), appends the
// level and one line per finding to `out`, and returns the exit status: 0 for nothing found, 1 for
// cautions only, 2 for a danger, 3 for a file that can't be read (with the reader's sentence).
int MacroScanCheck(const std::string& path, std::string& out);
