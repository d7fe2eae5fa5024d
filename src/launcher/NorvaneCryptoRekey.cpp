// Re-keying: decipher every protected file into memory, replace both store files,
// encipher everything again. Progress goes to the log and to standard output.
#include <launcher/NorvaneCrypto.h>

#include <json/Array.h>
#include <json/Object.h>
#include <json/Reader.h>
#include <json/TrivialType.h>
#include <json/UnknownElement.h>
#include <json/Writer.h>
#include <launcher/Preferences.h>
#include <utils/FileHelper.h>
#include <utils/FileSearch.h>
#include <utils/Log.h>

#include <iostream>
#include <memory>
#include <set>
#include <sstream>

namespace launcher {
namespace {

const char kName[] = "launcher::NorvaneCrypto::reKey";
const char kWriteFailed[] =
    "NorvaneCrypto:rekey - Problem during encrypt on rekey- \n sensitive data functionalities will not work as "
    "expected. Exit! %1%";

// One console line of progress: a line end and a flush behind every line.
void say(const std::string& text) { std::cout << text << std::endl; }

json::Object parseObject(const std::string& text) {
  json::Object object;
  std::istringstream in(text);
  json::Reader::Read(object, in);
  return object;
}

std::string writeObject(const json::Object& object) {
  std::ostringstream out;
  json::Writer::Write(object, out);
  return out.str();
}

}  // namespace

int NorvaneCrypto::reKey() {
  utils::log_function_entry(kName);
  utils::log_debug("NorvaneCrypto:rekey - Get all sensitive data");
  int result = 1;
  bool managedServers = false;
  bool smtp = false;
  json::Array servers;
  json::Object smtpObject;
  Preferences* preferences = Preferences::get_instance();

  // ---- gathering: nothing is changed until every file has been read ----
  std::string directory = preferences->getManagedServerPath();
  if (directory.empty()) {
    utils::log_error("NorvaneCrypto:rekey - Managed Server File path is empty. Exit! %1%") % kName;
    say(" Managed Server File path is empty. Exit! ");
    return 0;
  }
  std::set<std::string> fileNames;
  {
    std::unique_ptr<utils::FileSearch> search(new utils::FileSearch());
    search->getFileNames(directory, fileNames);
  }
  std::string smtpPath = preferences->get_smtp_server_loc();
  if (fileNames.empty()) {
    utils::log_warning(
        "NorvaneCrypto:rekey - Cannot find manage server files at path. Proceed with SMTP Server %1%") % kName;
    say(" Cannot find manage server files at path. Proceed with SMTP Server ");
  } else {
    managedServers = true;
    utils::log_debug("NorvaneCrypto:rekey - Decrypt - manage server list");
    for (const std::string& fileName : fileNames) {
      // The directory path brings its own final "/".
      std::string path = directory + fileName;
      if (utils::FileHelper::getFileSize(path) == 0) {
        // The format has no place for the file name; it is fed all the same.
        utils::log_error(
            "NorvaneCrypto:rekey - Not find the valid managed server data / file is empty for user! %1%. "
            "FileName = ") % kName % fileName;
        say(" Not find the valid managed server data / file is empty for user " + fileName);
        continue;
      }
      std::string text;
      if (decrypt_file_to_str(path, text) == -1) {
        utils::log_error("NorvaneCrypto:rekey - Decryption failed for user %1%. Can not proceed with Rekey. Exit!") %
            fileName;
        say(" Decryption failed for user " + fileName + " Can not proceed with Rekey. Exit!");
        return 0;
      }
      if (text.empty()) continue;
      json::Object content = parseObject(text);
      if (content.find("values") == content.end()) {
        utils::log_error("NorvaneCrypto:rekey - Not find the valid managed server data for user %2% - %1%") % kName %
            fileName;
        say(" Not find the valid managed server data for user " + fileName);
        continue;
      }
      json::Object server;
      server["fileName"] = json::String(fileName);
      server["fileContent"] = content;
      servers.insert(server);
    }
  }

  utils::log_debug("NorvaneCrypto:rekey - Decrypt - SMTP servers");
  if (utils::FileHelper::getFileSize(smtpPath) == 0) {
    utils::log_debug("NorvaneCrypto:rekey - File is empty for SMTP server %1%") % kName;
    say(" File is empty for SMTP server");
  } else {
    smtp = true;
    std::string text;
    if (get_instance()->decrypt_file_to_str(smtpPath, text) == -1) {
      utils::log_error("NorvaneCrypto:rekey - Decryption failed for SMTP server. Can not proceed with Rekey. Exit! %1%") %
          kName;
      say(" Decryption failed for SMTP server. Can not proceed with Rekey. Exit!");
      return 0;
    }
    if (text.empty()) {
      utils::log_debug("NorvaneCrypto:rekey - No AUTH-LOGIN details found %1%") % kName;
      say(" No AUTH-LOGIN details found");
    } else {
      smtpObject = parseObject(text);
      if (smtpObject.find("values") == smtpObject.end()) {
        utils::log_error("NorvaneCrypto:rekey - Not find the valid smtp server data %1%") % kName;
        say(" Not find the valid smtp server data ");
      }
    }
  }

  // ---- new store files: from here on the old key is gone ----
  utils::log_debug("NorvaneCrypto:rekey - Delete old store files and Generate new files");
  generateStoreFile(preferences->get_key_store_loc(), true);
  generateStoreFile(preferences->get_value_store_loc(), true);

  // ---- writing back: a failed write is reported and the run goes on ----
  if (managedServers) {
    utils::log_debug(
        "NorvaneCrypto:rekey - Encrypt Managed Server list with new store files and write into a file");
    for (const json::UnknownElement& element : servers) {
      const json::Object& server = element;
      const std::string& fileName = static_cast<const json::String&>(server["fileName"]).Value();
      std::string text = writeObject(server["fileContent"]);
      std::string path = directory + fileName;
      int length = 0;
      if (encrypt_str_to_file(text, length, path) == -1) {
        utils::log_error(kWriteFailed) % kName;
        say(" Problem during encrypt on rekey- \n sensitive data functionalities will not work as expected. Exit!");
      } else {
        utils::log_debug("Encrypting Manage Server List Success! %1%") % kName;
        say(" Encrypting Manage Server List Success!");
      }
    }
  }
  if (smtp) {
    utils::log_debug("NorvaneCrypto:rekey - Encrypt SMTP Server list with new store files and write into a file");
    std::string text = writeObject(smtpObject);
    int length = 0;
    if (encrypt_str_to_file(text, length, smtpPath) == -1) {
      utils::log_error(kWriteFailed) % kName;
      say(" Problem during encrypt on rekey- \n sensitive data functionalities will not work as expected. Exit!!");
    } else {
      utils::log_debug("NorvaneCrypto:rekey - Encrypting SMTP Server List Success! %1%") % kName;
      say(" Encrypting SMTP Server List Success!");
    }
  }
  return result;
}

}  // namespace launcher
