// The system's and the socket layer's last errors. POSIX has errno alone, so two words of each
// thread stand for them; whoever calls the system sets them from errno.
#include "platform/platform.h"
#include "platform/platform_socket.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

struct Pair {
  int code;
  int32_t socketCode;
};

constexpr Pair socketCodes[] = {
    {EINTR, 10004},        {EBADF, 10009},           {EACCES, 10013},
    {EPERM, 10013},        {EFAULT, 10014},          {EINVAL, 10022},
    {EMFILE, 10024},       {ENFILE, 10024},          {EAGAIN, 10035},
    {EINPROGRESS, 10036},  {EALREADY, 10037},        {ENOTSOCK, 10038},
    {EDESTADDRREQ, 10039}, {EMSGSIZE, 10040},        {EPROTOTYPE, 10041},
    {ENOPROTOOPT, 10042},  {EPROTONOSUPPORT, 10043}, {ESOCKTNOSUPPORT, 10044},
    {EOPNOTSUPP, 10045},   {EPFNOSUPPORT, 10046},    {EAFNOSUPPORT, 10047},
    {EADDRINUSE, 10048},   {EADDRNOTAVAIL, 10049},   {ENETDOWN, 10050},
    {ENETUNREACH, 10051},  {ENETRESET, 10052},       {ECONNABORTED, 10053},
    {ECONNRESET, 10054},   {EPIPE, 10054},           {ENOBUFS, 10055},
    {ENOMEM, 10055},       {EISCONN, 10056},         {ENOTCONN, 10057},
    {ESHUTDOWN, 10058},    {ETOOMANYREFS, 10059},    {ETIMEDOUT, 10060},
    {ECONNREFUSED, 10061}, {ELOOP, 10062},           {ENAMETOOLONG, 10063},
    {EHOSTDOWN, 10064},    {EHOSTUNREACH, 10065},
};

} // namespace

constinit thread_local int32_t utPlatErrorWord = 0;
constinit thread_local int32_t utPlatSocketErrorWord = 0;

int32_t utPlatSocketCode(int32_t code) {
  for (const Pair &pair : socketCodes) {
    if (pair.code == code) return pair.socketCode;
  }
  return code;
}

bool utPlatErrnoText(int32_t code, char *text, int32_t size) {
  const char *known = strerrordesc_np(code);
  if (!known || code == 0) return false;
  std::snprintf(text, static_cast<size_t>(size), "%s", known);
  return true;
}

bool utPlatErrorText(int32_t code, char *text, int32_t size) {
  return utPlatErrnoText(code, text, size); // which knows no code above a few hundred
}
