// A program of the build driven as an operator would, on a pseudo-terminal (echo,
// line discipline and all, the way a person at a terminal sees it): the test waits
// for a prompt, types a line, waits again.
//
//   InteractiveProcess tool(NORVANECTL_PATH, {"console"});
//   ASSERT_TRUE(tool.waitFor("Enter the option: "));
//   tool.send("1\r");
//   int exitCode = tool.finish();
//
// Every wait is bounded, and the program is killed when the object dies, so a hang
// fails the test instead of stalling the run.
#pragma once

#include "support/TestPrelude.h"

namespace testsupport {

class InteractiveProcess {
 public:
  InteractiveProcess(const std::string& program, const std::vector<std::string>& args);
  ~InteractiveProcess();
  InteractiveProcess(const InteractiveProcess&) = delete;
  InteractiveProcess& operator=(const InteractiveProcess&) = delete;

  // Reads output until `text` appears after the end of the text the previous wait
  // found; false when the program ends or the time runs out first.
  bool waitFor(const std::string& text, int timeoutMs = 10000);
  void send(const std::string& text);
  // Types the end-of-file character (Ctrl-D), which ends input at the start of a line.
  void endInput();
  // Reads the rest of the output and waits for the end. The exit code, or -1 when the
  // program did not exit by itself in time (it is killed then) or died of a signal.
  int finish(int timeoutMs = 10000);
  // Everything the program wrote so far, line ends as the terminal made them ("\r\n").
  const std::string& output() const { return m_output; }

 private:
  // Reads what is there within timeoutMs; false at the end of output.
  bool readSome(int timeoutMs);

  pid_t m_pid = -1;
  int m_terminal = -1;  // the master side; the program has the slave as its standard streams
  std::string m_output;
  std::string::size_type m_found = 0;
};

}  // namespace testsupport
