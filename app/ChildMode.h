// The pop-out panel process ("--child"): one panel of the main page in a frameless window of its own.
// It holds no engine state and starts no worker: commands go to the master over the IPC socket, and
// what it shows comes from the files of the data folder.
#pragma once

#include <string>

// Runs the panel until its window closes, it is docked, it is told to end, or its master is gone.
// Returns the exit status.
int RunChildMode(const std::string& arg);
