// Pieces of the Linux platform layer that its tests reach directly.
#pragma once

#include <string>
#include <vector>

// $XDG_DATA_HOME/Quorvane when that variable holds an absolute path, else ~/.local/share/Quorvane.
std::string LinuxDataDirPath();

// Creates `dir` and its missing parents with mode 0700, and forces `dir` itself to 0700.
void LinuxEnsurePrivateDir(const std::string& dir);

// The path of the executable that process `pid` runs; empty when it can't be read.
std::string LinuxProcessExe(int pid);

// Where the login-start entry lives: $XDG_CONFIG_HOME/autostart (absolute only), else ~/.config/autostart.
std::string LinuxAutostartPath();

// The desktop entry that starts the executable at login.
std::string LinuxAutostartEntry(const std::string& executable);

// Raises the first top-level window that belongs to one of the processes (by _NET_WM_PID).
void LinuxActivateWindowsOf(const std::vector<int>& pids);
