// The process-wide service object of the library's own service main and control
// handler, set by System::uninstallService.
#pragma once

class WindowsServiceBase;

namespace norvane_service {

WindowsServiceBase* currentService();
void setCurrentService(WindowsServiceBase* service);

}  // namespace norvane_service
