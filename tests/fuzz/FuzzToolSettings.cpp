// The settings text of the Spammer and the Key Spammer, checked against the standard integer reader that
// the fields must agree with: strtol's syntax and int's range.
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "engine/ToolSettings.h"

namespace {

bool ReferenceField(const std::string& field, int32_t& out) {
    if (field.find('\0') != std::string::npos) return false;  // never reaches here from a page's JSON anyway
    errno = 0;
    char* end = nullptr;
    const long v = std::strtol(field.c_str(), &end, 10);
    if (end == field.c_str() || errno == ERANGE || v < INT32_MIN || v > INT32_MAX) return false;
    out = static_cast<int32_t>(v);
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const int count = data[0] % 10 + 1;
    const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
    if (text.find('\0') != std::string::npos) return 0;

    // The reference: fields as the line reader cuts them, each read on its own.
    std::vector<std::string> fields;
    size_t start = 0;
    while (start < text.size()) {
        const size_t comma = text.find(',', start);
        fields.push_back(text.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    bool expectOk = static_cast<int>(fields.size()) >= count;
    std::vector<int32_t> expected(static_cast<size_t>(count));
    for (int i = 0; expectOk && i < count; ++i) expectOk = ReferenceField(fields[static_cast<size_t>(i)], expected[i]);

    std::vector<int32_t> out(static_cast<size_t>(count), 7);
    const bool ok = ParseDecimalFields(text, count, out.data());
    if (ok != expectOk) __builtin_trap();
    if (ok && out != expected) __builtin_trap();
    if (!ok && out != std::vector<int32_t>(static_cast<size_t>(count), 7)) __builtin_trap();
    return 0;
}
