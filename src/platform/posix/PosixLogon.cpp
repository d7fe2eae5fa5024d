// Password checks through PAM: pam_authenticate, then pam_acct_mgmt, under the
// service the caller names. The password lives only in the conversation's answer,
// which PAM frees.
#include <security/pam_appl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/posix/PosixFacilities.h"

namespace platform::posix {
namespace {

struct Credentials {
  const std::string* userName;
  const std::string* password;
};

// Answers the prompts of the modules: the password to hidden prompts, the user
// name to visible ones, nothing to informational messages.
int converse(int count, const struct pam_message** messages, struct pam_response** responses, void* data) {
  if (count <= 0 || count > PAM_MAX_NUM_MSG) return PAM_CONV_ERR;
  const auto* credentials = static_cast<const Credentials*>(data);
  auto* replies = static_cast<pam_response*>(std::calloc(static_cast<std::size_t>(count), sizeof(pam_response)));
  if (replies == nullptr) return PAM_BUF_ERR;
  for (int i = 0; i < count; ++i) {
    const std::string* answer = nullptr;
    switch (messages[i]->msg_style) {
      case PAM_PROMPT_ECHO_OFF: answer = credentials->password; break;
      case PAM_PROMPT_ECHO_ON: answer = credentials->userName; break;
      default: break;
    }
    if (answer == nullptr) continue;
    replies[i].resp = strdup(answer->c_str());
    if (replies[i].resp == nullptr) {
      for (int j = 0; j < i; ++j) {
        if (replies[j].resp != nullptr) {
          explicit_bzero(replies[j].resp, std::strlen(replies[j].resp));
          std::free(replies[j].resp);
        }
      }
      std::free(replies);
      return PAM_BUF_ERR;
    }
  }
  *responses = replies;
  return PAM_SUCCESS;
}

class PosixLogon final : public Logon {
 public:
  int check(const std::string& service, const std::string& userName, const std::string& password,
            std::string& text) override {
    Credentials credentials{&userName, &password};
    const pam_conv conversation{converse, &credentials};
    pam_handle_t* handle = nullptr;
    int status = pam_start(service.c_str(), userName.c_str(), &conversation, &handle);
    if (status != PAM_SUCCESS) {
      text = pam_strerror(handle, status);
      if (handle != nullptr) pam_end(handle, status);
      return status;
    }
    status = pam_authenticate(handle, PAM_SILENT);
    if (status == PAM_SUCCESS) status = pam_acct_mgmt(handle, PAM_SILENT);
    if (status != PAM_SUCCESS) text = pam_strerror(handle, status);
    pam_end(handle, status);
    return status;
  }

  int machineName(std::string& name) override {
    char buffer[256] = {};
    if (gethostname(buffer, sizeof buffer - 1) != 0) return errno;
    name = buffer;
    return 0;
  }
};

}  // namespace

std::unique_ptr<Logon> makeLogon() { return std::make_unique<PosixLogon>(); }

}  // namespace platform::posix
