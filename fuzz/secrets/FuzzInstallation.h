// A throw-away installation for the secret store's fuzz targets: no home path, so the
// settings come from ../conf/Norvane.conf beside the working directory.
#pragma once

#include <string>

namespace fuzzsupport {

// The installation's directory (lower case: settings are read lower-cased), made once
// per process with the given configuration lines plus the store file settings.
const std::string& installation(const std::string& settings);
void writeWhole(const std::string& path, const std::string& content);

}  // namespace fuzzsupport
