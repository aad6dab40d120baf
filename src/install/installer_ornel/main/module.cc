// The installer_ornel add-on: its module record, and the eight services
// that `query` hands out, registered in this order. Only the main thread
// gets them; a Worker's load throws (script_host.h).
#include "install/installer_ornel/interop_helpers/module_record.h"
#include "install/installer_ornel/interop_helpers/object_registry.h"
#include "install/installer_ornel/interop_helpers/script_host.h"
#include "install/installer_ornel/services/application.h"
#include "install/installer_ornel/services/trace_helper.h"
#include "install/installer_ornel/services/debug_configuration.h"
#include "install/installer_ornel/services/tracer_controller.h"
#include "install/installer_ornel/services/msi_product_info.h"
#include "install/installer_ornel/services/msi_package_info.h"
#include "install/installer_ornel/services/msi_setup_manager.h"
#include "install/installer_ornel/services/installer_controller.h"

namespace {

using node_interop::helpers::registerService;

void initialize(v8::Local<v8::Object> exports) {
  if (!node_interop::helpers::admitLoadingThread(v8::Isolate::GetCurrent())) return;
  auto& registry = node_interop::helpers::ObjectRegistry::instance();
  registerService<installer::Application>(registry);
  registerService<installer::TraceHelper>(registry);
  registerService<installer::DebugConfiguration>(registry);
  registerService<installer::TracerController>(registry);
  registerService<installer::MsiProductInfoService>(registry);
  registerService<installer::MsiPackageInfoService>(registry);
  registerService<installer::MsiSetupManagerService>(registry);
  registerService<installer::InstallerController>(registry);
  node_interop::helpers::installQuery(exports);
}

}  // namespace

INSTALLER_ORNEL_MODULE(installer_ornel, initialize)
