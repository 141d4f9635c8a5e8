// Argument helpers of the page bindings.
#pragma once

#include <string>

// The bridge's argument array as plain text: every '[', ']' and '"' removed, nothing unescaped. One string
// argument gives its text; several arguments keep their commas.
std::string ParseJSString(const std::string& raw);

// A complete JSON string literal, quotes included: '"', '\' and control characters escaped, other bytes
// (UTF-8 included) as they are.
std::string JsonEscapeForBind(const std::string& text);

// "" for an empty message, else its JSON string literal.
std::string BindMessage(const std::string& message);

// The first argument of the bridge's array when it is a JSON string, decoded (escapes and \u forms to
// UTF-8); false when the text doesn't start that way.
bool JsonFirstStringArg(const std::string& args, std::string& out);
