#pragma once

#include <string>

namespace talvo::linuxproc {

// Whether the process `pid` is a terminal emulator: its executable's name is
// one terminals use, or it holds the master side of a pseudo-terminal (that
// is what a terminal emulator is, whatever its window class says). False
// when the process cannot be inspected (gone, another user's, another PID
// namespace). `procRoot` is where proc(5) is mounted; tests point it
// elsewhere.
bool isTerminalProcess(int pid, const std::string& procRoot = "/proc");

}  // namespace talvo::linuxproc
