// Kept apart from the dispatcher: the socket backend needs the path, not the commands.
#include <functional>

#include "bridge/Ipc.h"

std::string IpcSocketPath(const std::string& dataDir, unsigned uid, const std::string& runtimeDir) {
    constexpr size_t kAddressRoom = 104;
    std::string path = dataDir + "/ipc.sock";
    if (path.size() < kAddressRoom) return path;
    if (runtimeDir.empty()) return "";
    path =
        runtimeDir + "/qvn-" + std::to_string(uid) + "-" + std::to_string(std::hash<std::string>{}(dataDir)) + ".sock";
    return path.size() < kAddressRoom ? path : "";
}
