// Pages are loaded from memory, without a base folder, so their own script files are written into them.
#pragma once

#include <string>

// Replaces the first <script src="FILE"></script> of each of the page's own scripts with the file's text,
// read from uiFolder. A file that is missing, empty, holds "</script>" or would push the page past 2 MiB
// is left as a tag.
std::string InlineVendorScripts(const std::string& html, const std::string& uiFolder);
