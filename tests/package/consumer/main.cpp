// A client of the installed library: points it at an installation of its own, logs
// a line, catches an exception, and prints both.
#include <norvane.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  const std::string root = argv[1];
  const std::string home = root + "/home";
  std::filesystem::create_directories(home + "/logs");
  std::filesystem::create_directories(home + "/conf");
  std::ofstream(home + "/conf/Norvane.conf") << "log_level = 64\nlog_cache_mode = 0\n";
  utils::MachineStore::setRoot(root + "/store");
  if (utils::MachineStore::setNorvaneHomePath(home) != 0) return 3;

  utils::log_info("consumer says %1%") % "hello";
  try {
    throw utils::AppException("consumer.cpp", 12, "ignored");
  } catch (utils::AppException& error) {
    std::printf("%s\n", error.what());
  }

  std::ifstream log(home + "/logs/norvane.txt");
  std::ostringstream text;
  text << log.rdbuf();
  std::printf("%s", text.str().c_str());
  return 0;
}
