// The `application` service (application.h).
#include "install/installer_ornel/services/application.h"

#include "install/installer_ornel/services/installer_controller.h"
#include "install/installer_ornel/services/msi_setup_manager.h"
#include "install/msi/default_package.h"
#include "install/tracing/log_switch.h"
#include "install/tracing/trace_site.h"

namespace installer {

// The trace file is opened before "Application run" is written, so that
// line is the first of a file the switch names. A directory that cannot be
// opened leaves tracing as it was.
bool Application::run() {
  platform::wstring commandLine;
  (void)readBootstrapperCommandLine(commandLine);
  if (const auto directory = tracing::logDirectoryFromCommandLine(commandLine)) {
    auto tracer = tracing::getTracer();
    tracer->setLogDirectory(*directory);
    (void)tracer->openLogFile();
  }
  INSTALLER_TRACE_SERVICE(700) << "Application run";
  return true;
}

bool Application::join() {
  MsiSetupManagerService::releaseInstance();
  msi_wrapper::releaseMsiProductInfo();
  INSTALLER_TRACE_SERVICE(700) << "Application join";
  return true;
}

}  // namespace installer
