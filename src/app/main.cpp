// ovn-kst: the desktop companion of rotating-shaft torque meters.

#include <QApplication>
#include <QDir>
#include <QStandardPaths>
#include <QTimer>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "build_info.h"
#include "foundation/platform.h"
#include "link/rs232.h"
#include "link/selcom.h"
#include "qt/frm_data_dir_dialog.h"
#include "qt/headless_app.h"
#include "qt/main_window.h"
#include "qt/qt_event_wait.h"
#include "qt/qt_operator.h"
#include "qt/qt_serial_port.h"
#include "qt/qt_settings_store.h"
#include "sim/sim_instrument.h"
#include "sim/sim_port.h"

namespace {

void print_usage() {
  std::printf(
      "Usage: ovn-kst [options]\n"
      "Talks to the stator of a rotating-shaft torque meter over one serial line: shows\n"
      "torque, speed, power and temperature live, logs them to CSV, and does the\n"
      "instrument's adjustment, test, configuration and setup work.\n"
      "  --simulate          talk to the built-in simulated instrument\n"
      "  --port PATH         use this serial device for this run\n"
      "  -nologo             no splash screen\n"
      "  -nocommportscan     do not test which ports exist\n"
      "  -nonewversioncheck  skip the notice of a different version in the release folder\n"
      "  --screenshot PATH   save a picture of the main window after 6 s of live data, then end\n"
      "  --version           print the version and end\n"
      "  --help              this text\n");
  std::fputs(ovn::kHeadlessHelp, stdout);
}

}  // namespace

int main(int argc, char** argv) {
  std::string line;
  for (int i = 1; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--help")) {
      print_usage();
      return 0;
    }
    if (!std::strcmp(argv[i], "--version")) {
      std::printf("%s %s\n", ovn::build::program_name, ovn::build::version);
      return 0;
    }
    if (i > 1) line += ' ';
    line += argv[i];
  }
  ovn::set_command_line(line);
  ovn::HeadlessArgs headless = ovn::headless_parse_args({argv + 1, argv + argc});
  if (headless.headless) return ovn::qt::headless_main(argc, argv, headless);
  if (!headless.error.empty()) {
    std::fprintf(
        stderr,
        "ovn-kst: %s\nUsage: ovn-kst [--simulate | --port PATH] [options]; --help lists them\n",
        headless.error.c_str());
    return ovn::kHeadlessBadArgs;
  }

  QApplication app(argc, argv);
  QApplication::setApplicationName(ovn::build::program_name);
  QApplication::setApplicationVersion(ovn::build::version);

  ovn::qt::QtSettingsStore settings;
  ovn::set_settings_store(&settings);

  const QString data_dir = ovn::qt::QtSettingsStore::log_folder();
  ovn::FileLogSink log((data_dir + "/debug.log").toStdString());
  ovn::set_log_sink(&log);

  ovn::set_event_pump([] { QCoreApplication::processEvents(QEventLoop::AllEvents); });
  ovn::qt::QtEventWait event_wait;
  ovn::qt::QtOperator op;
  ovn::set_operator(&op);
  ovn::set_fatal_reporter(ovn::qt::report_fatal);

  // The simulated KST: a torque that swings and a speed that wanders, so the chart moves.
  ovn::SimInstrument sim;
  std::unique_ptr<ovn::SimPort> sim_port;
  if (ovn::command_line_has("--simulate")) {
    ovn::SimConfig config;
    ovn::sim_init(sim, config);
    sim.physics.torque = {ovn::SimShape::Sine, 200, 1500, 4000};
    sim.physics.speed = {ovn::SimShape::Sine, 3000, 600, 9000};
    sim_port = std::make_unique<ovn::SimPort>(sim, ovn::SimTime::Real);
    ovn::rs232_attach(*sim_port, "A");
    std::string error = ovn::rs232_open(*sim_port, "115200,n,8,1");
    if (!error.empty()) std::fprintf(stderr, "ovn-kst: simulated port: %s\n", error.c_str());
  }
  // A real line: the port selection finds the instrument at each session start.
  std::string device;
  for (int i = 1; i + 1 < argc; ++i)
    if (!std::strcmp(argv[i], "--port")) device = argv[i + 1];
  ovn::qt::QtSerialPort serial(device);

  ovn::qt::MainWindow window;
  ovn::qt::install_frm_data_dir_runner(&window);
  if (!sim_port) {
    window.model().hooks.open_port = [&serial] {
      ovn::selcom_load(serial);
      return ovn::rs232_open_instrument(ovn::kKstFamily, "", 0, serial) != ovn::kNoFamily;
    };
  }
  window.show();
  window.start();
  QString shot;
  for (int i = 1; i + 1 < argc; ++i)
    if (!std::strcmp(argv[i], "--screenshot")) shot = QString::fromLocal8Bit(argv[i + 1]);
  if (!shot.isEmpty()) {
    QTimer::singleShot(6000, &window, [&window, shot] {
      window.render();
      window.grab().save(shot);
      window.close();
    });
  }
  int rc = app.exec();
  ovn::set_fatal_reporter(nullptr);
  ovn::set_operator(nullptr);
  ovn::set_settings_store(nullptr);
  ovn::set_log_sink(nullptr);
  return rc;
}
