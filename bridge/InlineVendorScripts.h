// Pages are loaded from memory, without a base folder, so their own script and style files are written
// into them.
#pragma once

#include <string>

// Replaces the first <script src="FILE"></script> of each of the pages' own scripts, and the first
// <link rel="stylesheet" href="FILE"> of each of their stylesheets, with the file's text read from uiFolder,
// in a <script> or <style> block. A file that is missing, empty, holds its block's closing tag or would push
// the page past 2 MiB is left as a tag.
std::string InlineVendorScripts(const std::string& html, const std::string& uiFolder);
