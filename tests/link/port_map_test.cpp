// Port numbers and the devices they name.

#include "link/port_map.h"

#include <gtest/gtest.h>

#include "support/scripted_operator.h"
#include "support/seams.h"

namespace ovn {
namespace {

using PortMap = test::SeamsTest;
using Lines = std::vector<std::string>;

TEST_F(PortMap, StableLinksComeFirstAndHideTheDevicesTheyNameOnce) {
  Lines order = port_map_order({{"/dev/serial/by-id/usb-FTDI_B-if00-port0", "/dev/ttyUSB1"},
                                {"/dev/serial/by-id/usb-FTDI_A-if00-port0", "/dev/ttyUSB0"}},
                               {"/dev/ttyUSB1", "/dev/ttyS0", "/dev/ttyUSB0", "/dev/ttyACM0"});
  EXPECT_EQ(order,
            (Lines{"/dev/serial/by-id/usb-FTDI_A-if00-port0",
                   "/dev/serial/by-id/usb-FTDI_B-if00-port0", "/dev/ttyACM0", "/dev/ttyS0"}));
}

TEST_F(PortMap, AStoredDeviceWinsOverTheEnumeration) {
  Lines found{"/dev/ttyUSB0", "/dev/ttyUSB1"};
  EXPECT_EQ(port_map_device(2, found), "/dev/ttyUSB1");
  EXPECT_EQ(port_map_device(3, found), "");
  EXPECT_EQ(port_map_device(0, found), "");

  port_map_remember(3, "/dev/pts/7");
  EXPECT_EQ(seams.settings.get("OVN-Shared", "Ports", "COM3"), "/dev/pts/7");
  EXPECT_EQ(port_map_device(3, found), "/dev/pts/7");
  seams.settings.put("OVN-Shared", "Ports", "COM1", "");
  EXPECT_EQ(port_map_device(1, found), "/dev/ttyUSB0") << "an empty setting names nothing";

  // A damaged entry (a NUL inside) is named to the operator and passed over.
  test::ScriptedOperator op;
  op.expect_msg_box("The entry COM1 of [Ports] in OVN-Shared.ini is not the path of a device",
                    MsgAnswer::Ok);
  seams.settings.put("OVN-Shared", "Ports", "COM1", std::string("/dev/tt\0y", 9));
  EXPECT_EQ(port_map_device(1, found), "/dev/ttyUSB0");
  EXPECT_EQ(op.shown.size(), 1u);
}

TEST_F(PortMap, ADeviceForOneRunComesFromTheCommandLine) {
  struct Case {
    const char* line;
    const char* device;
  };
  for (const Case& c :
       {Case{"", ""}, Case{"-nologo", ""}, Case{"--port /dev/pts/4", "/dev/pts/4"},
        Case{"-nologo --port  /dev/ttyUSB1 -nocommportscan", "/dev/ttyUSB1"}, Case{"--port", ""}}) {
    set_command_line(c.line);
    EXPECT_EQ(port_map_run_device(), c.device) << c.line;
  }
}

}  // namespace
}  // namespace ovn
