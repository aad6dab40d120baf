// ShellExecuteW on the emulated machine.
//
// The file is resolved against the working directory (lpDirectory, else the
// process's). What the host can run, a "#!" script (by its interpreter, its
// mode bits do not matter: installed files carry none) or an ELF binary, is
// started detached: a short-lived child starts it in a new session and
// exits at once, so nothing is left for this process to reap, and the
// started program's standard streams are /dev/null, so it holds none of
// this process's pipes. A pipe closed on exec tells whether the start
// worked. Any other existing file is recorded as opened with its verb. Both
// are recorded in the machine (machine_records.h, kind "shell"):
// "started" or "opened", the verb, the file's Windows path, the parameters
// and the working directory.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "platform/emulated/machine/machine_paths.h"
#include "platform/emulated/machine/machine_records.h"
#include "platform/emulated/machine/unicode.h"
#include "platform/emulated/shell32.h"

namespace emulated {

namespace {

// What ShellExecute gives for success: any value above 32.
constexpr std::intptr_t kStarted = 42;

HINSTANCE result(std::intptr_t value) { return reinterpret_cast<HINSTANCE>(value); }

bool isRelative(std::u16string_view path) {
  if (path.size() >= 2 && path[1] == u':') return false;
  return path.empty() || (path[0] != u'\\' && path[0] != u'/');
}

// Blank-separated words; double quotes group blanks into one word.
std::vector<std::string> splitParameters(const std::string& text) {
  std::vector<std::string> words;
  std::string word;
  bool quoted = false;
  bool inWord = false;
  for (char c : text) {
    if (c == '"') {
      quoted = !quoted;
      inWord = true;
    } else if ((c == ' ' || c == '\t') && !quoted) {
      if (inWord) words.push_back(word);
      word.clear();
      inWord = false;
    } else {
      word += c;
      inWord = true;
    }
  }
  if (inWord) words.push_back(word);
  return words;
}

// The host command that runs `file`, or none when the host cannot run it.
std::vector<std::string> hostCommand(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  std::string head(256, '\0');
  in.read(head.data(), static_cast<std::streamsize>(head.size()));
  head.resize(static_cast<size_t>(in.gcount()));
  if (head.compare(0, 4, "\x7f" "ELF") == 0) return {file};
  if (head.compare(0, 2, "#!") != 0) return {};
  // "#!interpreter [one argument]", as the host's kernel reads it.
  std::string line = head.substr(2, head.find('\n') == std::string::npos ? std::string::npos : head.find('\n') - 2);
  while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
  const size_t start = line.find_first_not_of(" \t");
  if (start == std::string::npos) return {};
  line = line.substr(start);
  const size_t blank = line.find_first_of(" \t");
  std::vector<std::string> command{line.substr(0, blank)};
  if (blank != std::string::npos) {
    const size_t argument = line.find_first_not_of(" \t", blank);
    if (argument != std::string::npos) command.push_back(line.substr(argument));
  }
  command.push_back(file);
  return command;
}

// Starts `command` detached in `directory`; 0 or the errno of the failed start.
int startDetached(const std::vector<std::string>& command, const std::string& directory) {
  std::vector<char*> argv;
  for (const std::string& word : command) argv.push_back(const_cast<char*>(word.c_str()));
  argv.push_back(nullptr);
  int report[2];
  if (::pipe2(report, O_CLOEXEC) != 0) return errno;
  const int devNull = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  const pid_t middle = ::fork();
  if (middle == 0) {
    // Only async-signal-safe calls from here: the parent may have threads.
    ::setsid();
    if (::fork() == 0) {
      int error = 0;
      if (devNull >= 0) {
        ::dup2(devNull, 0);
        ::dup2(devNull, 1);
        ::dup2(devNull, 2);
      }
      if (directory.empty() || ::chdir(directory.c_str()) == 0) ::execvp(argv[0], argv.data());
      error = errno;
      (void)::write(report[1], &error, sizeof error);
      ::_exit(127);
    }
    ::_exit(0);
  }
  ::close(report[1]);
  if (devNull >= 0) ::close(devNull);
  int error = middle < 0 ? errno : 0;
  if (middle > 0) {
    while (::waitpid(middle, nullptr, 0) < 0 && errno == EINTR) {
    }
    if (::read(report[0], &error, sizeof error) != sizeof error) error = 0;
  }
  ::close(report[0]);
  return error;
}

std::intptr_t errorResult(int error) {
  if (error == ENOENT) return SE_ERR_FNF;
  if (error == EACCES || error == EPERM) return SE_ERR_ACCESSDENIED;
  if (error == ENOMEM) return SE_ERR_OOM;
  return SE_ERR_NOASSOC;
}

}  // namespace

}  // namespace emulated

extern "C" HINSTANCE ShellExecuteW(HWND, LPCWSTR lpOperation, LPCWSTR lpFile, LPCWSTR lpParameters,
                                   LPCWSTR lpDirectory, INT) {
  using namespace emulated;
  if (lpFile == nullptr || lpFile[0] == 0) return result(SE_ERR_FNF);
  const std::u16string directory = lpDirectory != nullptr ? lpDirectory : u"";
  std::u16string file = lpFile;
  if (!directory.empty() && isRelative(file)) file = directory + u"\\" + file;
  const std::string hostFile = toHostPath(file);
  if (hostFile.empty() || ::access(hostFile.c_str(), F_OK) != 0) return result(SE_ERR_FNF);
  const std::string hostDirectory = directory.empty() ? std::string() : toHostPath(directory);
  if (!directory.empty() && (hostDirectory.empty() || ::access(hostDirectory.c_str(), F_OK) != 0)) {
    return result(SE_ERR_PNF);
  }
  const std::string verb = lpOperation != nullptr && lpOperation[0] != 0 ? utf16ToUtf8(lpOperation) : "open";
  const std::string parameters = lpParameters != nullptr ? utf16ToUtf8(lpParameters) : "";
  std::vector<std::string> command = hostCommand(hostFile);
  const std::string windowsFile = utf16ToUtf8(toWindowsPath(hostFile));
  if (command.empty()) {
    appendMachineRecord("shell", {"opened", verb, windowsFile, parameters, utf16ToUtf8(directory)});
    return result(kStarted);
  }
  for (std::string& word : splitParameters(parameters)) command.push_back(std::move(word));
  const int error = startDetached(command, hostDirectory);
  if (error != 0) return result(errorResult(error));
  appendMachineRecord("shell", {"started", verb, windowsFile, parameters, utf16ToUtf8(directory)});
  return result(kStarted);
}
