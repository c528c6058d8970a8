#include "cuadrante/port/system.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <array>

namespace cuadrante::detail {

bool LocalHostIdentity(AnsiString& name, AnsiString& address) {
  std::array<char, 100> host{};
  if (::gethostname(host.data(), host.size() - 1) != 0) return false;
  addrinfo hints{};
  hints.ai_family = AF_INET;
  addrinfo* found = nullptr;
  if (::getaddrinfo(host.data(), nullptr, &hints, &found) != 0 || found == nullptr) return false;
  std::array<char, INET_ADDRSTRLEN> dotted{};
  const auto* inet = reinterpret_cast<const sockaddr_in*>(found->ai_addr);
  const bool printed =
      ::inet_ntop(AF_INET, &inet->sin_addr, dotted.data(), dotted.size()) != nullptr;
  ::freeaddrinfo(found);
  if (!printed) return false;
  name = host.data();
  address = dotted.data();
  return true;
}

uint64_t KernelFreeMemoryBytes() {
  struct sysinfo info {};
  if (::sysinfo(&info) != 0) return 0;
  return (static_cast<uint64_t>(info.freeram) + info.freeswap) * info.mem_unit;
}

}  // namespace cuadrante::detail
