#include "service/CurrentService.h"

#include <atomic>

namespace norvane_service {
namespace {

std::atomic<WindowsServiceBase*> g_current{nullptr};

}  // namespace

WindowsServiceBase* currentService() { return g_current.load(std::memory_order_acquire); }

void setCurrentService(WindowsServiceBase* service) { g_current.store(service, std::memory_order_release); }

}  // namespace norvane_service
