// The encrypted resource file reader over any bytes as the file and any store files:
// it must neither crash nor read past a buffer, give -1, 0 or at most the file's
// length, and the re-key's parse of deciphered text must never quote it.
//
// Input: one byte of flags; then, when flag 1 is set, one byte n and n bytes of key
// store (otherwise a fixed one, so that the remembered derivation spares PBKDF2 and
// the run stays fast); one byte m, m bytes of value store; then the resource file.
#include <json/Exception.h>
#include <launcher/NorvaneCrypto.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "FuzzInstallation.h"
#include "launcher/ResourceFiles.h"

namespace {

std::string take(const std::uint8_t*& data, std::size_t& size) {
  if (size == 0) return std::string();
  const std::size_t length = std::min<std::size_t>(data[0], size - 1);
  std::string part(reinterpret_cast<const char*>(data + 1), length);
  data += length + 1;
  size -= length + 1;
  return part;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string& root = fuzzsupport::installation("");
  const bool ownKeyStore = size > 0 && (data[0] & 1) != 0;
  if (size > 0) ++data, --size;
  fuzzsupport::writeWhole(root + "/key.store", ownKeyStore ? take(data, size) : "3f2a9c1e-7b4d");
  fuzzsupport::writeWhole(root + "/value.store", take(data, size));
  const std::string file(reinterpret_cast<const char*>(data), size);
  std::string path = root + "/resource";
  fuzzsupport::writeWhole(path, file);

  std::string text = "untouched";
  const int result = launcher::NorvaneCrypto::get_instance()->decrypt_file_to_str(path, text);
  if (result < -1 || result > static_cast<int>(file.size())) std::abort();
  if (result == 0 && text != "untouched") std::abort();
  if (result <= 0) return 0;
  try {
    (void)launcher::parseDeciphered(text);
  } catch (const json::Exception& error) {
    // A deciphered text of a few bytes may well occur in the fixed wording.
    if (text.size() >= 6 && std::string(error.what()).find(text.substr(0, 6)) != std::string::npos) std::abort();
  }
  return 0;
}
