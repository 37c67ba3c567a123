#include "support/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

extern char** environ;

namespace tessarin::testing {

ChildProcess::ChildProcess(const std::vector<std::string>& argv, const std::vector<std::string>& env) {
  int pipe_fds[2];
  if (pipe2(pipe_fds, O_CLOEXEC) != 0) return;
  // The input is a socket rather than a pipe, so that writing to a child
  // that died fails instead of raising SIGPIPE in the test.
  int input_fds[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, input_fds) != 0) {
    close(pipe_fds[0]);
    close(pipe_fds[1]);
    return;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipe_fds[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, input_fds[1], STDIN_FILENO);

  std::vector<std::string> environment;
  for (char** e = environ; *e; ++e) environment.emplace_back(*e);
  environment.insert(environment.end(), env.begin(), env.end());
  std::vector<char*> c_env, c_argv;
  for (auto& e : environment) c_env.push_back(e.data());
  c_env.push_back(nullptr);
  std::vector<std::string> args = argv;
  for (auto& a : args) c_argv.push_back(a.data());
  c_argv.push_back(nullptr);

  if (posix_spawn(&pid_, c_argv[0], &actions, nullptr, c_argv.data(), c_env.data()) != 0) pid_ = -1;
  posix_spawn_file_actions_destroy(&actions);
  close(pipe_fds[1]);
  close(input_fds[1]);
  out_ = pipe_fds[0];
  in_ = input_fds[0];
}

ChildProcess::~ChildProcess() {
  if (pid_ > 0 && !status_) {
    kill(SIGKILL);
    wait(std::chrono::seconds(5));
  }
  if (out_ >= 0) close(out_);
  if (in_ >= 0) close(in_);
}

bool ChildProcess::writeLine(const std::string& line) {
  if (in_ < 0) return false;
  std::string data = line + "\n";
  std::size_t written = 0;
  while (written < data.size()) {
    ssize_t n = send(in_, data.data() + written, data.size() - written, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    written += static_cast<std::size_t>(n);
  }
  return true;
}

std::optional<std::string> ChildProcess::readLine(std::chrono::milliseconds timeout) {
  auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    std::size_t newline = buffer_.find('\n');
    if (newline != std::string::npos) {
      std::string line = buffer_.substr(0, newline);
      buffer_.erase(0, newline + 1);
      lines_.push_back(line);
      return line;
    }
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (out_ < 0 || left.count() <= 0) return std::nullopt;
    pollfd fd{out_, POLLIN, 0};
    if (poll(&fd, 1, static_cast<int>(left.count())) <= 0) continue;
    char chunk[4096];
    ssize_t n = read(out_, chunk, sizeof chunk);
    if (n <= 0) {
      close(out_);
      out_ = -1;
      return std::nullopt;
    }
    buffer_.append(chunk, static_cast<std::size_t>(n));
  }
}

std::optional<std::string> ChildProcess::readLineContaining(const std::string& text,
                                                            std::chrono::milliseconds timeout) {
  auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    auto line = readLine(std::max(left, std::chrono::milliseconds(0)));
    if (!line) return std::nullopt;
    if (line->find(text) != std::string::npos) return line;
  }
}

void ChildProcess::kill(int signal) {
  if (pid_ > 0 && !status_) ::kill(pid_, signal);
}

std::optional<int> ChildProcess::wait(std::chrono::milliseconds timeout) {
  if (status_ || pid_ <= 0) return status_;
  auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    int status = 0;
    pid_t done = waitpid(pid_, &status, WNOHANG);
    if (done == pid_) {
      status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      return status_;
    }
    if (std::chrono::steady_clock::now() > deadline) return std::nullopt;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

}  // namespace tessarin::testing
