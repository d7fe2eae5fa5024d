// Administration of the machine-wide store that tells where the installation is.
// On Linux the store is a directory tree: the key "SOFTWARE\Kestrane\Norvane" is the
// directory SOFTWARE/Kestrane/Norvane under the store root, and the value
// "NorvaneHOME" is the file of that name holding the home path.
#pragma once

#include <NorvaneExport.h>

#include <string>

namespace utils {

class NORVANE_API MachineStore {
 public:
  // "/etc/kestrane/registry".
  static const char* const DEFAULT_ROOT;

  // Points the whole process at another store root (tests, installations without
  // root rights, norvanectl --store-root). Takes effect for every later lookup.
  static void setRoot(const std::string& root);
  static std::string getRoot();

  // Writes "NorvaneHOME" under the store root, creating the key as needed.
  // Returns 0 on success, otherwise an errno-style code (see errorText).
  static long setNorvaneHomePath(const std::string& home);
  // Where "NorvaneHOME" lives under the current root, for messages.
  static std::string homeValueLocation();
  // A readable description of a status returned above.
  static std::string errorText(long status);
};

}  // namespace utils
