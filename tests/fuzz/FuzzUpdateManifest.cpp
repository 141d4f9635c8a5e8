// Any bytes as a manifest, and as a signed file list: the readers never crash, a manifest is believed only
// when its signature check said yes, and what is believed has the closed shapes.
#include <cstddef>
#include <cstdint>
#include <string>

#include "update/UpdateCore.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    bool verified = false;
    // The verdict follows one byte of the input, so both sides of the signature step are explored.
    const bool verdict = size > 0 && (data[0] & 1);
    UpdateManifestInfo out;
    const bool believed = UpdateCore::EvaluateManifest(
        [&](const std::string&, const std::string&) {
            verified = true;
            return verdict;
        },
        text, "pro", "1.0.1", out);
    if (believed && (!verified || !verdict)) __builtin_trap();
    if (believed && (!UpdateCore::IsValidSha256Shape(out.sha256) || !UpdateCore::IsAllowedInstallerHost(out.url) ||
                     !UpdateCore::IsVersionGreater(out.version, "1.0.1")))
        __builtin_trap();
    UpdateCore::ExtractJsonBoolField(text, "expect", false);
    UpdateCore::FileList list;
    if (UpdateCore::ParseFileList(text, list).empty())
        for (const auto& e : list.entries)
            if (!UpdateCore::IsSafeRelativePath(e.path)) __builtin_trap();
    return 0;
}
