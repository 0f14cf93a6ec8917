#include <qorcor14/errors.h>
#include <qorcor14/object/uuid.h>
#include <qorcor14/text/strings.h>

#include <gtest/gtest.h>
#include <qormsg.h>

#include <windows.h>
#include <objbase.h>

#include <algorithm>
#include <cwctype>
#include <set>
#include <string>
#include <vector>

namespace {

// The system's own text of a UUID (StringFromGUID2), without its braces.
std::wstring systemText(const QOR::UUID& u) {
  GUID g;
  g.Data1 = u.Data1;
  g.Data2 = u.Data2;
  g.Data3 = u.Data3;
  std::copy(u.Data4, u.Data4 + 8, g.Data4);
  wchar_t buffer[40];
  EXPECT_EQ(StringFromGUID2(g, buffer, 40), 39);
  return std::wstring(buffer + 1, 36);
}

TEST(Uuid, DefaultIsNilAndPrintsThirtyTwoZeros) {
  const QOR::UUID nil;
  EXPECT_TRUE(nil.isNull());
  EXPECT_EQ(nil.toString(), L"00000000-0000-0000-0000-000000000000");
  EXPECT_TRUE(nil == QOR::UUID(L"00000000-0000-0000-0000-000000000000"));
}

TEST(Uuid, CreatedUuidsAreDistinctAndRoundTripThroughText) {
  std::set<QOR::UUID> seen;
  for (int i = 0; i < 200; ++i) {
    const QOR::UUID u = QOR::UUID::create();
    EXPECT_FALSE(u.isNull());
    const std::wstring text = u.toString();
    ASSERT_EQ(text, systemText(u));  // the 8-4-4-4-12 form, upper case
    EXPECT_TRUE(QOR::UUID::valid(text));
    EXPECT_TRUE(QOR::UUID(text) == u);
    std::wstring lower = text;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](wchar_t c) { return std::towlower(c); });
    EXPECT_TRUE(QOR::UUID(lower) == u);
    EXPECT_TRUE(seen.insert(u).second);
  }
}

TEST(Uuid, ComparisonOrdersFieldByFieldThenByteByByte) {
  const wchar_t* ordered[] = {
      L"00000000-0000-0000-0000-000000000000", L"00000000-0000-0000-0000-0000000000FF",
      L"00000000-0000-0000-0100-000000000000", L"00000000-0000-0001-0000-000000000000",
      L"00000000-0001-0000-0000-000000000000", L"00000001-0000-0000-0000-000000000000",
      L"0000FFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF", L"FFFFFFFF-0000-0000-0000-000000000000",
  };
  const std::less<QOR::UUID> less;
  for (std::size_t i = 0; i + 1 < std::size(ordered); ++i) {
    SCOPED_TRACE(ordered[i]);
    const QOR::UUID a(ordered[i]), b(ordered[i + 1]);
    EXPECT_TRUE(less(a, b));
    EXPECT_FALSE(less(b, a));
    EXPECT_TRUE(a != b);
    EXPECT_FALSE(less(a, a));
  }
}

TEST(Uuid, UnparsableTextThrowsCatalogueMessage218NamingIt) {
  const wchar_t* bad[] = {
      L"",
      L"not a uuid",
      L"{6B29FC40-CA47-1067-B31D-00DD010662DA}",  // braces are not accepted
      L"6B29FC40-CA47-1067-B31D-00DD010662D",     // one digit short
      L"6B29FC40-CA47-1067-B31D-00DD010662DAA",   // one digit long
      L"6B29FC40-CA47-1067-B31D-00DD010662DG",    // not hexadecimal
      L"6B29FC40+CA47-1067-B31D-00DD010662DA",    // wrong separator
  };
  for (const wchar_t* text : bad) {
    SCOPED_TRACE(text);
    EXPECT_FALSE(QOR::UUID::valid(text));
    try {
      QOR::UUID u{std::wstring(text)};
      ADD_FAILURE() << "accepted";
    } catch (const QOR::QorError& e) {
      EXPECT_EQ(std::wstring(e.wWhat()), stringPrintf(qorMsg(218).c_str(), text));
      EXPECT_NE(std::wstring(e.wWhat()).find(text), std::wstring::npos);
    }
  }
  EXPECT_TRUE(QOR::UUID::valid(L"6B29FC40-CA47-1067-B31D-00DD010662DA"));
}

}  // namespace
