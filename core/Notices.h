// Sentences for the user that arise before or away from the page (a session file set aside at start-up):
// kept until the main page takes them, each shown once.
#pragma once

#include <string>
#include <vector>

void PostUserNotice(const std::string& text);

// The notices posted since the last call, oldest first; the list is empty afterwards.
std::vector<std::string> TakeUserNotices();
