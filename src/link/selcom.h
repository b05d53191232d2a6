#pragma once
// Port selection: on which port, at which rate and under which ID an instrument answers,
// and which family it is.
//
// The form frm_selcom is a model: its controls under their own names, which the Qt dialog
// renders. It holds the port object through which every exchange goes (rs232_attach).
// The search tries families in a fixed order, each at its own baud, until one answers its
// probe (instrument/identify.h). When nothing answers, the form is shown modally through
// the operator seam; Retry searches again, Abort ends the process at once.
//
// Settings: section "Communications", application the family's key (selcom_key): "COM Port"
// (1 to 32) and "ID". The search itself never shows a message box: what went wrong is
// written into lb_info for the operator to read in the form.

#include <cstdint>
#include <string>
#include <vector>

#include "foundation/operator.h"
#include "link/port_service.h"

namespace ovn {

// Port numbers run from 1 to this.
constexpr int kSelcomMaxPort = 32;

struct SelcomControl {
  std::string caption;
  bool visible = true;
};

struct SelcomList {
  std::vector<std::string> items;
  int list_index = -1;  // the selected row; -1 none
  bool visible = true;
};

struct FrmSelcom {
  bool loaded = false;
  std::string caption;            // the window title: "Choose COM port for <selcom_key>"
  SelcomList ls_comport;          // "COM<n>" for every port that exists
  std::vector<int> port_numbers;  // list row to port number
  SelcomList ls_id;               // "None", "*", "A".."Z", "a".."z"
  SelcomControl lb_commport{"COM Port"};
  SelcomControl lb_id{"ID"};
  SelcomControl lb_info;  // what the last search found, one paragraph per family
  SelcomControl btn_retry{"Retry"};
  SelcomControl btn_abort{"Abort"};
  SelcomControl btn_ip{"IP", false};  // a network path that is not part of this program
  PortService* ms_comm1 = nullptr;    // the port object
};

// The form's one instance.
FrmSelcom& frm_selcom();

// The key of the family being tried or found ("KST", "S350+"); empty before any.
const std::string& selcom_key();

// Loads the form on `port`: reads the stored port, attaches the port to the exchange with an
// empty ID, lists the ports that exist (all 32 with "-nocommportscan" on the command line),
// selects the stored one when listed, and fills the ID list. Reloading refreshes the lists.
void selcom_load(PortService& port);
// Closes the port if it is open (the form's query-unload).
void selcom_close();

// The choice of port: the port object takes the number, and the setting "COM Port" stores
// it when a family key is set (logged "REG SAVE COMPORT <key>:<n>").
void selcom_set_commport(int port_number);
// The stored port of the current family, logged "REG READ COMPORT <n>". With nothing stored
// (or no family yet) it is the port object's number, so an operator's choice holds for
// every family of a search.
int selcom_read_commport();
// Whether port `n` exists: it can be opened at 9600 and closed again. With
// "-nocommportscan" every number exists and no port is touched.
bool selcom_exists(int n);

// Opens the port at `baud`. Empty on success, else the error ("Baudrate (<n>) < 0" for a
// rate of 0 or less; otherwise the exchange's open error). `first_time` is a flag the
// caller keeps: the first open uses the port object's number and sets it; later opens take
// the stored port of the family first. `label` names the attempt in the log.
std::string selcom_open_at(PortService& port, int32_t baud, bool& first_time,
                           const std::string& label);

// The search. `type` 1101 to 1109 tries that family alone; anything else the automatic
// order RDX, WQPM, KSVM, KST, KSLW, FGA, HZYM, S350 (an S350+ is found only when named).
// `id` is added to the ID candidates of families with addressing. True when a family
// answered: `found` is its code, the port stays open and the answering ID is set.
// Otherwise `found` is 1100 and lb_info says what each family did.
bool selcom_opened_and_talking(int32_t type, const std::string& id, int32_t& found);

// The ID from the form at Retry: empty for a hidden list, no selection, a one-row list or
// "None" (the stored "ID" is then deleted); "*" or the letter otherwise (stored). The
// exchange takes it.
void selcom_pick_id();

// A click on a row of ls_comport: that row's port becomes the choice.
void selcom_ls_comport_click(int row);

// The session's opening loop. A `port` below 0 shows the form before the first search,
// above 0 is taken as the choice (selcom_set_commport), 0 keeps the present port. Then
// searches; when nothing answers the form is shown: Retry takes the operator's ID and
// searches again, for as many rounds as the operator likes; closing the form unloads it
// (port closed, lists built anew) and searches again; Abort ends the process at once
// (exit code 1). Returns the family that answered and logs "Done Opening".
int32_t rs232_open_instrument(int32_t type, const std::string& id, int port, PortService& line);

// Puts the module back to its start-up state (each test begins with it).
void selcom_reset_state();

}  // namespace ovn
