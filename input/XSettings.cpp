#include "input/XSettings.h"

namespace {

struct Reader {
    std::string_view blob;
    bool msbFirst = false;

    bool Has(size_t at, size_t n) const { return at <= blob.size() && n <= blob.size() - at; }
    uint32_t U32(size_t at) const {
        const auto b = [&](size_t i) { return static_cast<uint32_t>(static_cast<unsigned char>(blob[at + i])); };
        return msbFirst ? b(0) << 24 | b(1) << 16 | b(2) << 8 | b(3) : b(3) << 24 | b(2) << 16 | b(1) << 8 | b(0);
    }
    uint32_t U16(size_t at) const {
        const auto b = [&](size_t i) { return static_cast<uint32_t>(static_cast<unsigned char>(blob[at + i])); };
        return msbFirst ? b(0) << 8 | b(1) : b(1) << 8 | b(0);
    }
};

size_t Padded(size_t n) { return (n + 3) & ~size_t{3}; }

}  // namespace

bool ReadXSettingsInteger(std::string_view blob, std::string_view name, int32_t& value) {
    Reader r{blob};
    if (!r.Has(0, 12)) return false;
    if (blob[0] != 0 && blob[0] != 1) return false;
    r.msbFirst = blob[0] == 1;
    const uint32_t count = r.U32(8);
    size_t at = 12;
    for (uint32_t i = 0; i < count; ++i) {
        if (!r.Has(at, 4)) return false;
        const int type = static_cast<unsigned char>(blob[at]);
        const size_t nameLength = r.U16(at + 2);
        if (!r.Has(at + 4, Padded(nameLength) + 4)) return false;
        const std::string_view settingName = blob.substr(at + 4, nameLength);
        const size_t valueAt = at + 4 + Padded(nameLength) + 4;  // past the name and its last-change serial
        switch (type) {
            case 0:  // integer
                if (!r.Has(valueAt, 4)) return false;
                if (settingName == name) {
                    value = static_cast<int32_t>(r.U32(valueAt));
                    return true;
                }
                at = valueAt + 4;
                break;
            case 1: {  // string: length, then the bytes padded to four
                if (!r.Has(valueAt, 4)) return false;
                const size_t length = r.U32(valueAt);
                if (!r.Has(valueAt + 4, Padded(length))) return false;
                at = valueAt + 4 + Padded(length);
                break;
            }
            case 2:  // colour: four 16-bit channels
                if (!r.Has(valueAt, 8)) return false;
                at = valueAt + 8;
                break;
            default: return false;
        }
    }
    return false;
}
