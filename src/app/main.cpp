// ovn-kst: the desktop companion of rotating-shaft torque meters.

#include <QApplication>
#include <QDir>
#include <QStandardPaths>
#include <cstdio>
#include <cstring>
#include <string>

#include "build_info.h"
#include "foundation/platform.h"
#include "qt/frm_data_dir_dialog.h"
#include "qt/headless_app.h"
#include "qt/main_window.h"
#include "qt/qt_operator.h"
#include "qt/qt_settings_store.h"

namespace {

void print_usage() {
  std::printf(
      "Usage: ovn-kst [options]\n"
      "  --simulate          talk to the built-in simulated instrument\n"
      "  --port PATH         use this serial device for this run\n"
      "  -nologo             no splash screen\n"
      "  -nocommportscan     do not test which ports exist\n"
      "  -nonewversioncheck  skip the notice of a different version in the release folder\n"
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

  QApplication app(argc, argv);
  QApplication::setApplicationName(ovn::build::program_name);
  QApplication::setApplicationVersion(ovn::build::version);

  ovn::qt::QtSettingsStore settings;
  ovn::set_settings_store(&settings);

  QString data_dir = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
  QDir().mkpath(data_dir);
  ovn::FileLogSink log((data_dir + "/debug.log").toStdString());
  ovn::set_log_sink(&log);

  ovn::set_event_pump([] { QCoreApplication::processEvents(QEventLoop::AllEvents); });
  ovn::qt::QtOperator op;
  ovn::set_operator(&op);
  ovn::set_fatal_reporter(ovn::qt::report_fatal);

  ovn::qt::MainWindow window;
  ovn::qt::install_frm_data_dir_runner(&window);
  window.show();
  int rc = app.exec();
  ovn::set_fatal_reporter(nullptr);
  ovn::set_operator(nullptr);
  ovn::set_settings_store(nullptr);
  ovn::set_log_sink(nullptr);
  return rc;
}
