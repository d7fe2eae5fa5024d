// A program of the build driven as an operator would: the test waits for a prompt,
// types a line, waits again. Its standard input and output are either two pipes
// (the bytes exactly as written) or a pseudo-terminal (echo, line discipline and
// all, the way a person at a terminal sees it).
//
//   InteractiveProcess tool(NORVANECTL_PATH, {"console"}, InteractiveProcess::kPipes);
//   ASSERT_TRUE(tool.waitFor("Enter the option: "));
//   tool.send("1\n");
//   int exitCode = tool.finish();
//
// Every wait is bounded, and the program is killed when the object dies, so a hang
// fails the test instead of stalling the run.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace testsupport {

class InteractiveProcess {
 public:
  enum Channel {
    kPipes,            // stdin and stdout+stderr on pipes
    kPseudoTerminal,   // stdin, stdout and stderr on the slave side of a new pty
  };

  InteractiveProcess(const std::string& program, const std::vector<std::string>& args, Channel channel);
  ~InteractiveProcess();
  InteractiveProcess(const InteractiveProcess&) = delete;
  InteractiveProcess& operator=(const InteractiveProcess&) = delete;

  // Reads output until `text` appears after the end of the text the previous wait
  // found; false when the program ends or the time runs out first.
  bool waitFor(const std::string& text, int timeoutMs = 10000);
  void send(const std::string& text);
  // The end of input: the pipe is closed; on a terminal an end-of-file character
  // (Ctrl-D) is typed, which ends input at the start of a line.
  void endInput();
  // Reads the rest of the output and waits for the end. The exit code, or -1 when the
  // program did not exit by itself in time (it is killed then) or died of a signal.
  int finish(int timeoutMs = 10000);
  // Everything the program wrote so far.
  const std::string& output() const { return m_output; }

 private:
  // Reads what is there within timeoutMs; false at the end of output.
  bool readSome(int timeoutMs);

  pid_t m_pid = -1;
  int m_input = -1;
  int m_outputFd = -1;
  bool m_terminal = false;
  std::string m_output;
  std::string::size_type m_found = 0;
};

}  // namespace testsupport
