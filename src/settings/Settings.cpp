#include "settings/Settings.h"

#include <atomic>

namespace settings {
namespace {

std::atomic<const Settings*> g_override{nullptr};

}  // namespace

const Settings& current() {
  const Settings* replacement = g_override.load(std::memory_order_acquire);
  return replacement != nullptr ? *replacement : installed();
}

ScopedSettings::ScopedSettings(const Settings& replacement)
    : m_previous(g_override.exchange(&replacement, std::memory_order_acq_rel)) {}

ScopedSettings::~ScopedSettings() { g_override.store(m_previous, std::memory_order_release); }

}  // namespace settings
