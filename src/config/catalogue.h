#pragma once
// Parameter catalogues: for each family, every parameter message the instrument answers,
// in the order that makes up a configuration, each with its comment. Walking a catalogue
// and asking each message gives the body of a configuration file, one line per parameter,
// and each line is itself the message that sets the parameter again.
//
// Grammar: items joined by "|". An item is a message name (ending at the first blank or
// "#"), an optional set marker "=" or "==" right after the name, an optional range
// "[X-Y]" of single characters inside the name ("TC[A-D]" is TCA, TCB, TCC, TCD; range
// items carry no marker), and a comment. A comment may end in a type marker "??<format>"
// (a hex format, foundation/hexstr.h): the reply is then hex and the comment shows its
// decoded values as " (<v1>,<v2>,...)". An item beginning with "#" is a comment line
// copied out as it stands; an item beginning with a digit is "<number>:<item>".
//
// The messages go out through get_reply (link/rs232.h): a failing line shows the
// operator's failure dialog like any exchange.

#include <cstdint>
#include <string>
#include <vector>

namespace ovn {

// The catalogue of a family (family codes of instrument/family.h), items joined by "|".
// The parts that vary are asked of the instrument: "SD" for KST and KSLW (speed and power
// groups only when it answers "3"), "EN" for HZYM (the speed and power part unless it
// answers "0002"). `version1` is the session's first version number: RDX firmware 142 and
// above has the span temperatures CFH and CFI. S350, S350+, FGA and any other code give "".
std::string tm_info_catalogue(int32_t tm_type, int32_t version1);

// The catalogue as it stands in the program for the given run-time answers, without asking
// the instrument (what tm_info_catalogue builds once it has them).
std::string tm_info_catalogue_for(int32_t tm_type, int32_t version1, const std::string& sd_reply,
                                  const std::string& en_reply);

// Expands one item, asks its messages, and returns its lines, each ended by CR LF; an item
// that is empty after trimming gives "".
std::string tm_info_catalogue_item(const std::string& item);

// One line for `message` sent with `marker` ("", "=" or "=="), ended by CR LF:
//  - no message: the trimmed comment alone (nothing at all when that is empty too);
//  - the message is asked up to 3 times (200 ms each) while the reply begins with "!";
//    a reply still "!" gives "# BAD REPLY TO <message>:<reply>";
//  - otherwise message, marker and reply, blanks up to column 20 (a longer line gets
//    none), then the trimmed comment with any type marker replaced by the decoded values.
std::string tm_info_catalogue_line(const std::string& message, const std::string& marker,
                                   const std::string& comment);

// The comment with its type marker replaced by the values of `reply` decoded by the
// marker's format: "# Full Scale ??f" and "43FA8000" give "# Full Scale (501)". A comment
// without "??" comes back as it is. A reply that is not hex of the format's length shows
// no values, "()", rather than guessing.
std::string tm_info_catalogue_decode(const std::string& comment, const std::string& reply);

// The messages of a catalogue, ranges expanded, in order, each with its set marker.
struct CatalogueMessage {
  std::string name;
  std::string marker;
};
std::vector<CatalogueMessage> tm_info_catalogue_messages(const std::string& catalogue);

// A line of a configuration body taken apart: the longest message of `messages` (with its
// marker) that begins it, the value behind it up to the comment, and the comment after
// "#", both trimmed. False for a comment line, a "BAD REPLY" line or a line no message
// begins.
struct ConfigLine {
  std::string name;
  std::string value;
  std::string comment;
};
bool tm_info_config_split(const std::string& line, const std::vector<CatalogueMessage>& messages,
                          ConfigLine& out);

}  // namespace ovn
