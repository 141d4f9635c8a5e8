// Arguments separated by NUL bytes.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "app/CommandLine.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> args{"quorvane"};
    std::string cur;
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == 0) {
            args.push_back(cur);
            cur.clear();
        } else {
            cur += static_cast<char>(data[i]);
        }
    }
    args.push_back(cur);
    std::vector<const char*> argv;
    for (const auto& a : args) argv.push_back(a.c_str());
    argv.push_back(nullptr);
    const CommandLine cl = ParseCommandLine(static_cast<int>(args.size()), argv.data());
    if (cl.mode == RunMode::Child && args.size() > 2 && cl.childArg != args[2]) __builtin_trap();
    return 0;
}
