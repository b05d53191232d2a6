#include "instrument/identify.h"

#include "foundation/kw.h"
#include "foundation/settings.h"
#include "instrument/family.h"
#include "instrument/model_stems.h"
#include "link/rs232.h"

namespace ovn {

namespace {

bool is_letter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool char_numeric(const std::string& text, size_t position) {
  return position < text.size() && kw_is_numeric(text.substr(position, 1));
}

// The second reply is the one that counts: the first send flushes a half-finished line.
std::string ask_twice(const std::string& message, double timeout, bool keep_line_end) {
  if (keep_line_end) {
    rs232_wait_reply(message, timeout);
    return rs232_wait_reply(message, timeout);
  }
  rs232_try_reply(message, timeout);
  return rs232_try_reply(message, timeout);
}

// KST, KSLW and RDX: one letter after the other, each failure adding a line.
std::string probe_letters(int32_t type, const std::string& candidates, const std::string& message,
                          bool (*answers)(const std::string&)) {
  std::string errors;
  for (char letter : candidates) {
    if (!is_letter(letter)) continue;
    rs232_set_id(std::string(1, letter));
    std::string reply = ask_twice(message, kRs232DefaultTimeout, false);
    if (answers(reply)) return "";
    errors += selcom_key_of(type) + " Bad Response " + letter + message + ":" + reply + "\r\n";
  }
  return errors;
}

// S350 and S350+: "Model 350 v7.3" or "Model 350+v7.3"; every character of the list is
// tried as an address, letter or not, and only the last failure is told.
std::string probe_s350(const std::string& candidates, char mark) {
  std::string error;
  for (char address : candidates) {
    rs232_set_id(std::string(1, address));
    std::string reply = ask_twice("VR", 100, false);
    if (reply.rfind("Model ", 0) == 0 && reply.size() >= 10 && kw_is_numeric(reply.substr(6, 3)) &&
        reply[9] == mark)
      return "";
    error = "350 Bad Response:" + reply;
  }
  return error;
}

}  // namespace

bool tm_family_has_address(int32_t type) {
  switch (type) {
    case kTmRdx:
    case kTmKslw:
    case kTmKst:
    case kTmS350:
    case kTmS350Plus:
      return true;
    default:
      return false;
  }
}

std::string tm_address_candidates(int32_t type, const std::string& passed) {
  if (!tm_family_has_address(type)) return "";
  return kw_setting_get(selcom_key_of(type), "Communications", "ID", "") + passed + "ABC";
}

std::string tm_identify(int32_t type, const std::string& address_list) {
  std::string candidates = tm_address_candidates(type, address_list);
  if (!tm_family_has_address(type)) rs232_set_id("");
  switch (type) {
    case kTmNone:
      return "";
    case kTmWqpm: {
      // The reply is counted with its line end: 8 characters and the CR.
      std::string reply = ask_twice("CCA", kRs232DefaultTimeout, true);
      return reply.size() == 9 ? "" : "WQPM:Bad Response to CCA:" + reply;
    }
    case kTmRdx:
      return probe_letters(type, candidates, "VR",
                           [](const std::string& r) { return !r.empty() && r[0] == 'i'; });
    case kTmKslw:
    case kTmKst:
      return probe_letters(type, candidates, "TMA", kw_is_numeric);
    case kTmHzym: {
      std::string reply = ask_twice("VR", 100, true);
      bool ok = char_numeric(reply, 0) && char_numeric(reply, 2) && char_numeric(reply, 4);
      return ok ? "" : "HZYM No/Bad Response to VR:" + reply;
    }
    case kTmKsvm: {
      // Without its line end, so that a plain number passes the numeric test.
      std::string reply = ask_twice("VR", 100, false);
      return kw_is_numeric(reply) ? "" : "KSVM No/Bad Response to VR:" + reply;
    }
    case kTmS350:
      return probe_s350(candidates, ' ');
    case kTmS350Plus:
      return probe_s350(candidates, '+');
    case kTmFga: {
      rs232_wait_reply("v", 200);
      std::string reply = rs232_wait_reply("v", 500);
      return reply.rfind("Encal", 0) == 0 ? "" : "FGA No/Bad Response to v:" + reply;
    }
    default:
      return "Bad Type:" + std::to_string(type);
  }
}

int32_t tm_info_family_from_model(const std::string& model) {
  if (tm_model_in_stems(StemSet::Rdx, model)) return kTmRdx;
  if (tm_model_in_stems(StemSet::Kst, model)) return kTmKst;
  if (tm_model_in_stems(StemSet::Ksv, model)) return kTmKsvm;
  if (tm_model_in_stems(StemSet::Wqpm, model)) return kTmWqpm;
  if (tm_model_in_stems(StemSet::Hzym, model)) return kTmHzym;
  // The KST stems are asked a second time where the KSLW stems belong; a KSLW model
  // number therefore has no family here, and callers rely on that.
  if (tm_model_in_stems(StemSet::Kst, model)) return kTmKst;
  return kTmNone;
}

}  // namespace ovn
