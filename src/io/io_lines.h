#pragma once
// The stator's logic lines (families RDX 1102, KSLW 1103, KST 1104): each line has one
// function, an input action (+Cal, Tare, Hold...) or an output state (Torque-Ok...), active
// high or low. Digital I/O Setup (command 201) shows the lines as rows and the functions as
// columns of a button grid (frm_ia); every click takes effect in the instrument at once,
// and Cancel sends back what stood when the window opened.
//
// Messages: line i has its function code in "IO<letter i>" and its output limits, as
// fractions of full scale, in "IL<letter 2i>" (high) and "IL<letter 2i+1>" (low); "IOI" is
// the mask of lines active high (bit i). A first click on a new function makes it active
// "Lo"; each further click on the same cell turns its polarity.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/operator.h"

namespace ovn {

// The name of function `code` on `family` ("" for a code outside the list, an empty entry,
// or a family without lines).
std::string tm_io_function_name(int32_t code, int32_t family);
// The connector pin of line `line` (from 0): RDX "ABEFGHC", KSLW and KST "GHBJFCAK"; "".
std::string tm_io_pin_letter(int32_t line, int32_t family);
// The grid has no columns for the empty codes: the non-empty names below code 16
// (io_low_count) come first, then those from 16 (io_high_count).
int32_t io_code_of_column(int32_t column, int32_t family);
int32_t io_column_of_code(int32_t code, int32_t family);
int32_t io_function_count(int32_t family);

struct FrmIa {
  int32_t family = 0;
  int line_count = 0;
  int function_count = 0;
  bool read_only = false;                   // "PS" 1
  std::vector<std::string> saved_messages;  // what Cancel sends back, in order
  std::vector<std::string> txt_limits;      // 2 a line, high then low, in % of full scale
  GridForm grid;                            // lines by functions, then the two limits
};

// Reads the lines into a form (the window's load) and lays out its grid.
FrmIa ia_load(int32_t family);
// A click on the cell of `line` and `column`: the function and polarity as above.
void ia_click(FrmIa& f, int line, int column);
// btn_default: the factory assignment and limits of every line.
void ia_default(FrmIa& f);
// btn_ok: the limits that are numbers, sent; btn_cancel: the saved state sent back.
void ia_ok(FrmIa& f);
void ia_cancel(FrmIa& f);
// Shows one line's cells as the instrument has it now ("Hi" / "Lo" on its function).
void ia_repaint(FrmIa& f, int line);
// Command 201: the window, on the current session's family.
void ia_command();

}  // namespace ovn
