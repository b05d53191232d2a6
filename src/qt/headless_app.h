#pragma once
// ovn-kst --headless: the program's seams for a run without windows (a core application,
// the settings and log of the windowed program) and the port the command line names: the
// device of --port, the built-in simulated instrument of --simulate in real time, else the
// stored port. Then the core's headless run (monitor/headless.h).

#include "monitor/headless.h"

namespace ovn::qt {

// Returns the process's exit code (an Abort ends the process inside).
int headless_main(int argc, char** argv, const HeadlessArgs& args);

}  // namespace ovn::qt
