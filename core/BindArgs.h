// Argument and result helpers of the page bindings, and the one JSON reader of the program.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// A binding that can't use its argument (a number that isn't one) rejects the page's promise with this
// message instead of answering.
class BindError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The bridge's argument array as plain text: every '[', ']' and '"' removed, nothing unescaped. One string
// argument gives its text; several arguments keep their commas.
std::string ParseJSString(const std::string& raw);

// A complete JSON string literal of `text`, quotes included. Bytes from 0x80 up pass as they are.
std::string JsonEscapeForBind(const std::string& text);

// Empty for an empty message, else the message as a JSON string literal: an empty result resolves the
// page's promise with nothing.
std::string BindMessage(const std::string& message);

// The value of `key` at the top level of the JSON object `json`: a string unescaped, any other value as its
// raw text. Empty when the key is absent or when `json` is not one well-formed JSON object. A key that
// occurs twice gives its first value.
std::string JsonParseField(const std::string& json, const std::string& key);

// One JSON object read once, for callers that look up many keys of a large text. Values are views into
// the text that was read, which must outlive this object.
struct JsonObjectView {
    bool ok = false;  // false: `text` was not one well-formed JSON object, and every lookup is empty
    std::vector<std::pair<std::string, std::string_view>> members;  // decoded key, raw value; file order

    // The raw text of the first value of `key`, or empty.
    std::string_view Raw(std::string_view key) const;
    // What JsonParseField gives for `key`.
    std::string Field(std::string_view key) const;
    // The same value without a copy: a view into the text, or into `storage` when a string had escapes.
    std::string_view Value(std::string_view key, std::string& storage) const;
};
JsonObjectView JsonReadObject(std::string_view text);

// How many bytes from `p` (at most `n`) may stand in a JSON string as they are: no quote, no backslash,
// no control byte. Eight bytes at a time, since skin data make strings of megabytes.
size_t JsonPlainRun(const char* p, size_t n);

// The first argument of the bridge's array when it is a JSON string, decoded (escapes and \u forms to
// UTF-8); false when the text doesn't start that way.
bool JsonFirstStringArg(const std::string& args, std::string& out);
