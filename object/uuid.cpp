// QOR::UUID over the RPC runtime's UUID functions.
#include <qorcor14/object/uuid.h>

#include <qorcor14/errors.h>
#include <qorcor14/text/strings.h>

#include "common/messages.h"

#include <windows.h>
#include <rpc.h>

#include <cstring>

namespace QOR {
namespace {

static_assert(sizeof(UUID) == sizeof(::UUID), "QOR::UUID has the platform's layout");

// The platform structure of u, and back.
::UUID platform(const UUID& u) {
  ::UUID p;
  p.Data1 = u.Data1;
  p.Data2 = u.Data2;
  p.Data3 = u.Data3;
  std::memcpy(p.Data4, u.Data4, sizeof p.Data4);
  return p;
}

void assign(UUID& u, const ::UUID& p) {
  u.Data1 = p.Data1;
  u.Data2 = p.Data2;
  u.Data3 = p.Data3;
  std::memcpy(u.Data4, p.Data4, sizeof u.Data4);
}

[[noreturn]] void fail(const wchar_t* function, RPC_STATUS status) {
  throw QorError(stringPrintf(L"%s %ld", function, static_cast<long>(status)));
}

// UuidFromStringW wants a writable string; it does not write to it.
RPC_STATUS parse(const std::wstring& text, ::UUID& out) {
  std::wstring copy = text;
  return UuidFromStringW(reinterpret_cast<RPC_WSTR>(copy.data()), &out);
}

}  // namespace

UUID::UUID() {
  ::UUID p;
  const RPC_STATUS status = UuidCreateNil(&p);
  if (status != RPC_S_OK) fail(L"UuidCreateNil", status);
  assign(*this, p);
}

UUID::UUID(const std::wstring& text) {
  ::UUID p;
  if (parse(text, p) != RPC_S_OK) throw QorError(internal::invalidUuidMessage(text));
  assign(*this, p);
}

UUID UUID::create() {
  ::UUID p;
  // RPC_S_UUID_LOCAL_ONLY fails too: the UUID would not be globally unique.
  const RPC_STATUS status = UuidCreate(&p);
  if (status != RPC_S_OK) fail(L"UuidCreate", status);
  UUID u;
  assign(u, p);
  return u;
}

bool UUID::valid(const std::wstring& text) noexcept {
  ::UUID p;
  return parse(text, p) == RPC_S_OK;
}

int UUID::compare(const UUID& a, const UUID& b) {
  ::UUID pa = platform(a), pb = platform(b);
  RPC_STATUS status = RPC_S_OK;
  const int r = UuidCompare(&pa, &pb, &status);
  if (status != RPC_S_OK) fail(L"UuidCompare", status);
  return r;
}

std::wstring UUID::toString() const {
  return stringPrintf(L"%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X", Data1, Data2, Data3, Data4[0], Data4[1],
                      Data4[2], Data4[3], Data4[4], Data4[5], Data4[6], Data4[7]);
}

bool UUID::isNull() const {
  ::UUID p = platform(*this);
  RPC_STATUS status = RPC_S_OK;
  const int nil = UuidIsNil(&p, &status);
  if (status != RPC_S_OK) fail(L"UuidIsNil", status);
  return nil != 0;
}

}  // namespace QOR
