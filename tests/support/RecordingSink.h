#pragma once

#include "support/Recorder.h"
#include "uploaders/proxies/IUploadEventSink.h"

#include <ostream>
#include <string>

/// One event as a proxy reported it; a null text reads "(null)".
struct ReportedEvent {
  unsigned code;
  std::string text;
  int value;

  bool operator==(const ReportedEvent&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const ReportedEvent& event) {
    return out << event.code << " '" << event.text << "' " << event.value;
  }
};

/// Keeps the events of a proxy or a script.
class RecordingSink final : public KBL::IUploadEventSink, public Recorder<ReportedEvent> {
 public:
  void userCallBack(unsigned code, const char* text, int value) override {
    keep({code, text == nullptr ? "(null)" : text, value});
  }
};
