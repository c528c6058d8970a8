#include "cuadrante/port/application.h"

#include <unistd.h>

#include <utility>
#include <vector>

TApplication::TApplication() = default;
TApplication::~TApplication() = default;

AnsiString TApplication::ExeName() const {
  // The link's target can be longer than any fixed buffer; grow until it fits.
  std::vector<char> buffer(256);
  for (;;) {
    const ssize_t length = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
    if (length < 0) return AnsiString();
    if (static_cast<size_t>(length) < buffer.size()) {
      return AnsiString(buffer.data(), static_cast<size_t>(length));
    }
    buffer.resize(buffer.size() * 2);
  }
}

void TApplication::ProcessMessages() {
  if (processMessages_) processMessages_();
}

void TApplication::SetProcessMessagesHook(TProcessMessagesHook hook) {
  processMessages_ = std::move(hook);
}
