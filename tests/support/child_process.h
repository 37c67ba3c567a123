// A child process whose standard output a test reads line by line, and
// whose standard input it can write to: for running an app on the Linux
// host in a process of its own, where the process-wide shared instance is
// fresh, for telling it what to do next, and for killing it.
#ifndef TESSARIN_TESTS_SUPPORT_CHILD_PROCESS_H_
#define TESSARIN_TESTS_SUPPORT_CHILD_PROCESS_H_

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace tessarin::testing {

class ChildProcess {
 public:
  // Starts `argv` (argv[0] a path) with the test's environment plus `env`
  // ("NAME=value" each). Standard error is the test's own.
  ChildProcess(const std::vector<std::string>& argv, const std::vector<std::string>& env = {});
  ~ChildProcess();  // kills the child if it still runs
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  bool started() const { return pid_ > 0; }
  // The next line the child prints, without its newline; nothing when the
  // child closed its output or `timeout` passed first.
  std::optional<std::string> readLine(std::chrono::milliseconds timeout);
  // Reads lines until one contains `text`; that line, or nothing.
  std::optional<std::string> readLineContaining(const std::string& text, std::chrono::milliseconds timeout);
  // Writes `line` and a newline to the child's standard input; false when
  // the child is gone (or no longer reads it).
  bool writeLine(const std::string& line);
  // Every line read so far.
  const std::vector<std::string>& lines() const { return lines_; }
  void kill(int signal);
  // The exit status (or 128 + the signal), or nothing when the child still
  // runs after `timeout`.
  std::optional<int> wait(std::chrono::milliseconds timeout);

 private:
  pid_t pid_ = -1;
  int out_ = -1;
  int in_ = -1;
  std::string buffer_;
  std::vector<std::string> lines_;
  std::optional<int> status_;
};

}  // namespace tessarin::testing

#endif  // TESSARIN_TESTS_SUPPORT_CHILD_PROCESS_H_
