#include "qt/headless_app.h"

#include <QCoreApplication>
#include <QDir>
#include <QStandardPaths>
#include <iostream>
#include <memory>

#include "build_info.h"
#include "foundation/platform.h"
#include "qt/qt_event_wait.h"
#include "qt/qt_serial_port.h"
#include "qt/qt_settings_store.h"
#include "sim/sim_port.h"

namespace ovn::qt {

int headless_main(int argc, char** argv, const HeadlessArgs& args) {
  if (!args.error.empty()) {
    std::cerr << "ovn-kst: " << args.error << "\n";
    return kHeadlessBadArgs;
  }
  QCoreApplication app(argc, argv);
  QCoreApplication::setApplicationName(build::program_name);
  QCoreApplication::setApplicationVersion(build::version);

  QtSettingsStore settings;
  set_settings_store(&settings);
  const QString data_dir = QtSettingsStore::log_folder();
  FileLogSink log((data_dir + "/debug.log").toStdString());
  set_log_sink(&log);
  set_event_pump([] { QCoreApplication::processEvents(QEventLoop::AllEvents); });
  QtEventWait event_wait;

  SimInstrument sim;
  std::unique_ptr<PortService> port;
  HeadlessSimulation simulation{[&sim](SimQuantity q, double v) { sim_hold(sim, q, v); },
                                kSimTechnicianPhrase};
  if (args.simulate) {
    sim_init(sim, SimConfig{});
    // The windowed program's simulated shaft: a torque that swings and a speed that wanders.
    sim.physics.torque = {SimShape::Sine, 200, 1500, 4000};
    sim.physics.speed = {SimShape::Sine, 3000, 600, 9000};
    port = std::make_unique<SimPort>(sim, SimTime::Real);
  } else {
    port = std::make_unique<QtSerialPort>(args.port);
    // A device named for the run that cannot be opened is said once, with its reason, not
    // retried under every family's search.
    if (!args.port.empty()) {
      std::string error;
      if (!port->open(error)) {
        std::cerr << "ovn-kst: --port " << args.port << ": cannot open it: " << error << "\n";
        if (error.find("ermission") != std::string::npos)
          std::cerr << "ovn-kst: serial devices belong to the dialout group: "
                       "sudo usermod -aG dialout $USER, then log in again\n";
        set_log_sink(nullptr);
        set_settings_store(nullptr);
        return kHeadlessAborted;
      }
      port->close();
    }
  }
  int rc = headless_run(*port, args, std::cout, std::cerr, args.simulate ? &simulation : nullptr);
  set_log_sink(nullptr);
  set_settings_store(nullptr);
  return rc;
}

}  // namespace ovn::qt
