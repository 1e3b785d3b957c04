// How failures leave the library: the HRESULT forms of the last error and of CRT results.
#include <gtest/gtest.h>

#include <exception>
#include <type_traits>

#include "frame/errors.h"
#include "tests/support/test_support.h"

using namespace Zanthorel::PKI::TSP;

TEST(Errors, TurnTheLastErrorIntoAnHResult) {
  SetLastError(5);
  EXPECT_EQ(static_cast<HRESULT>(0x80070005), HResultFromLastError());
  SetLastError(ERROR_MORE_DATA);
  EXPECT_EQ(static_cast<HRESULT>(0x800700EA), HResultFromLastError());
  SetLastError(static_cast<DWORD>(CRYPT_E_ATTRIBUTES_MISSING));
  EXPECT_EQ(CRYPT_E_ATTRIBUTES_MISSING, HResultFromLastError()) << "already an HRESULT";
  SetLastError(0);
  EXPECT_EQ(0, HResultFromLastError());
  bool thrown = false;  // also when the last error is 0
  try {
    ThrowLastError();
  } catch (const ATL::CAtlException& e) {
    thrown = true;
    EXPECT_EQ(0, e.m_hr);
  }
  EXPECT_TRUE(thrown);
  ThrowIfFailed(S_OK);
  ThrowIfFailed(S_FALSE);
  EXPECT_HRESULT(E_FAIL, ThrowIfFailed(E_FAIL));
}

TEST(Errors, MapCrtResults) {
  CheckCrtError(0);
  CheckCrtError(80);  // STRUNCATE
  EXPECT_HRESULT(E_OUTOFMEMORY, CheckCrtError(12));
  EXPECT_HRESULT(E_INVALIDARG, CheckCrtError(22));
  EXPECT_HRESULT(E_INVALIDARG, CheckCrtError(34));
  EXPECT_HRESULT(E_FAIL, CheckCrtError(1));

  char room[4];
  EXPECT_EQ(0, strcpy_s(room, sizeof room, "abc"));
  EXPECT_STREQ("abc", room);
  EXPECT_EQ(ERANGE, strcpy_s(room, sizeof room, "abcd"));
  EXPECT_STREQ("", room);
  EXPECT_EQ(EINVAL, strcpy_s(nullptr, 4, "a"));
}

// A handler for std::exception does not see an HRESULT error.
static_assert(!std::is_base_of<std::exception, ATL::CAtlException>::value,
              "CAtlException is no standard exception");
