#pragma once
// The port selection form on screen: renders frm_selcom (link/selcom.h) and hands the
// operator's clicks to its procedures. A click on a port row is the choice of that port;
// a click on an ID row only marks it, the ID is taken at Retry by the caller. Each port
// row names the device the number stands for and what the system knows of it.
//
// Object names for tests: ls_comport, ls_id, lb_commport, lb_id, lb_info, btn_retry,
// btn_abort, btn_ip.

#include <QDialog>
#include <QString>
#include <string>

#include "foundation/operator.h"

class QListWidget;

namespace ovn::qt {

class SelcomDialog : public QDialog {
 public:
  explicit SelcomDialog(FrmSelcom& form, QWidget* parent = nullptr);
  // What closed the dialog; Closed until a button is pressed.
  SelcomChoice choice() const { return choice_; }

 private:
  FrmSelcom& form_;
  SelcomChoice choice_ = SelcomChoice::Closed;
};

// What is at a serial device for the port list: the device, the adapter's description,
// maker, USB vendor:product and serial number when the system knows them, and the stable
// name it was reached by ("/dev/ttyUSB0, FT232R USB UART, FTDI, 0403:6001, serial A10K1
// (usb-FTDI_FT232R_USB_UART_A10K1-if00-port0)"); "(no device)" for a number that names
// none, "<path>  (not present)" for a stored device that is away.
QString serial_device_description(const std::string& device);

// Shows the form modally and returns how the operator left it: what an Operator's
// show_selcom does under Qt.
SelcomChoice run_selcom_dialog(FrmSelcom& form, QWidget* parent = nullptr);

}  // namespace ovn::qt
