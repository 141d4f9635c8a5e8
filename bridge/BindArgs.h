// Argument helpers of the page bindings.
#pragma once

#include <string>

// The bridge's argument array as plain text: every '[', ']' and '"' removed, nothing unescaped. One string
// argument gives its text; several arguments keep their commas.
std::string ParseJSString(const std::string& raw);
