// The one door to the operating system. Callers reach it through get_instance()
// and never name the concrete class.
#pragma once

#include <NorvaneExport.h>

#include <string>

namespace utils {

class NORVANE_API System {
 public:
  // The WindowsSystem singleton, created on first use and kept until process exit.
  static System* get_instance();

  // ---- home paths -----------------------------------------------------------
  // None of these logs on entry: the logger's start depends on them.

  // The installation's root directory, from the machine store value "NorvaneHOME"
  // under "SOFTWARE\Kestrane\Norvane". 0 on success; 1 on failure, path untouched.
  virtual int getNorvaneHomePath(std::string& path) const = 0;
  // The home path followed by "/conf/Norvane.conf"; 1 (path untouched) without home.
  virtual int getNorvaneConfigurationPath(std::string& path) const = 0;
  // Appends "/server/" to path after a home-path lookup whose result is ignored, so
  // a failed lookup gives path's old text plus "/server/". Always 0.
  virtual int getNorvaneWebServerHomePath(std::string& path) const = 0;

 protected:
  System() = default;
  System(const System&) = default;
  System& operator=(const System&) = default;
  ~System() = default;  // never deleted through this class: the singleton lives for ever
};

}  // namespace utils
