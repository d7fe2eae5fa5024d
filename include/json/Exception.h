// The root of every error the document library throws. It carries only its
// message; the reader's exceptions add the places in the text.
#pragma once

#include <NorvaneExport.h>

#include <stdexcept>
#include <string>

namespace json {

class NORVANE_API Exception : public std::runtime_error {
 public:
  explicit Exception(const std::string& sMessage);
  ~Exception() override;
};

}  // namespace json
