#include "program.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace mfx_test {
namespace {

using Clock = std::chrono::steady_clock;

struct Pipe {
  int read_end = -1;
  int write_end = -1;
  Pipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    read_end = ends[0];
    write_end = ends[1];
  }
};

void CloseFile(int& file) {
  if (file >= 0) close(file);
  file = -1;
}

[[noreturn]] void Become(const std::vector<std::string>& arguments, const How& how) {
  for (const std::string& variable : how.environment) putenv(const_cast<char*>(variable.c_str()));
  std::vector<char*> words{const_cast<char*>(how.program.c_str())};
  for (const std::string& word : arguments) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  execv(how.program.c_str(), words.data());
  _exit(127);
}

/// Reads what there is; closes the file at its end.
void Take(int& file, std::string& text) {
  char buffer[1 << 16];
  const ssize_t n = read(file, buffer, sizeof buffer);
  if (n > 0) text.append(buffer, static_cast<std::size_t>(n));
  // A terminal that nobody writes to any more ends in an error.
  if (n == 0 || (n < 0 && errno == EIO)) CloseFile(file);
}

/// Puts a terminal in the place of a pipe, one that passes on what is written to it as it is.
void MakeTerminal(Pipe& pipe) {
  CloseFile(pipe.read_end);
  CloseFile(pipe.write_end);
  if (openpty(&pipe.read_end, &pipe.write_end, nullptr, nullptr, nullptr) != 0) {
    throw std::runtime_error("no terminal");
  }
  termios how = {};
  tcgetattr(pipe.write_end, &how);
  how.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  tcsetattr(pipe.write_end, TCSANOW, &how);
  fcntl(pipe.read_end, F_SETFD, FD_CLOEXEC);
  fcntl(pipe.write_end, F_SETFD, FD_CLOEXEC);
}

}  // namespace

Ended RunMfx(const std::vector<std::string>& arguments, const How& how) {
  std::signal(SIGPIPE, SIG_IGN);
  Pipe in, out, err;
  if (how.terminal != Terminal::kNone) MakeTerminal(out);
  // Gone before the program starts, so that its first write cannot slip through.
  if (how.close_output) CloseFile(out.read_end);
  const Clock::time_point start = Clock::now();
  const pid_t child = fork();
  if (child == 0) {
    std::signal(SIGPIPE, SIG_DFL);
    dup2(in.read_end, STDIN_FILENO);
    dup2(out.write_end, STDOUT_FILENO);
    dup2(how.terminal == Terminal::kBoth ? out.write_end : err.write_end, STDERR_FILENO);
    Become(arguments, how);
  }
  CloseFile(in.read_end);
  CloseFile(out.write_end);
  CloseFile(err.write_end);
  fcntl(in.write_end, F_SETFL, O_NONBLOCK);

  Ended ended;
  std::size_t sent = 0;
  bool signalled = how.signal == 0;
  while (out.read_end >= 0 || err.read_end >= 0) {
    if (sent == how.input.size()) CloseFile(in.write_end);
    pollfd files[] = {
        {out.read_end, POLLIN, 0}, {err.read_end, POLLIN, 0}, {in.write_end, POLLOUT, 0}};
    poll(files, 3, 20);
    if (files[0].revents != 0) Take(out.read_end, ended.out);
    if (files[1].revents != 0) Take(err.read_end, ended.err);
    if (files[2].revents != 0) {
      const ssize_t n = write(in.write_end, how.input.data() + sent, how.input.size() - sent);
      sent = n >= 0 ? sent + static_cast<std::size_t>(n) : how.input.size();
    }
    if (!signalled && std::filesystem::exists(how.signal_when)) {
      kill(child, how.signal);
      signalled = true;
    }
    if (Clock::now() - start > std::chrono::minutes(2)) kill(child, SIGKILL);
  }
  CloseFile(in.write_end);
  int status = 0;
  waitpid(child, &status, 0);
  ended.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  ended.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  return ended;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

Folder::Folder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "mfx_test_XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no folder");
  _path = pattern;
}

Folder::~Folder() {
  std::error_code ignored;
  std::filesystem::remove_all(_path, ignored);
}

std::string Folder::Write(const std::string& name, const std::string& text) const {
  std::ofstream(_path / name, std::ios::binary) << text;
  return Path(name);
}

std::string Folder::Read(const std::string& name) const {
  std::ifstream in(_path / name, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

std::vector<std::string> Folder::Names() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(_path)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string Source(const std::string& path) { return LIBMFX_SOURCE_DIR "/" + path; }

}  // namespace mfx_test
