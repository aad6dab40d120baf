// The machine's records of what its processes asked of Windows and that the
// emulated machine does not really do: restart requests (ExitWindowsEx) and
// files the shell started or opened (ShellExecuteW). Each kind is one file,
// <root>/records/<kind>, one record a line: the local time, the process id,
// then the record's own fields, separated by tabs (a tab or line break inside
// a field is written as a blank). A record is appended in one write to a file
// opened for appending, so the records of processes running at once never
// mix; they are listed in the order they were made.
#pragma once

#include <string>
#include <vector>

namespace emulated {

// Appends one record of `kind` ("restarts", "shell"); false when it cannot
// be written.
bool appendMachineRecord(const std::string& kind, const std::vector<std::string>& fields);

// The lines of `kind`, oldest first; none when nothing was recorded.
std::vector<std::string> readMachineRecords(const std::string& kind);

}  // namespace emulated
