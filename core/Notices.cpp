#include "core/Notices.h"

#include <mutex>

namespace {

std::mutex g_NoticesMutex;
std::vector<std::string> g_Notices;

}  // namespace

void PostUserNotice(const std::string& text) {
    std::lock_guard<std::mutex> lock(g_NoticesMutex);
    g_Notices.push_back(text);
}

std::vector<std::string> TakeUserNotices() {
    std::lock_guard<std::mutex> lock(g_NoticesMutex);
    std::vector<std::string> taken;
    taken.swap(g_Notices);
    return taken;
}
