// How failures leave the library: the HRESULT forms of the last error and of CRT results.
#include <gtest/gtest.h>

#include <stdexcept>

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

TEST(Errors, AreNoStandardExceptions) {
  // A handler for std::exception does not see an HRESULT error, and a handler for CAtlException
  // does not see "vector<T> too long".
  bool sawAtl = false;
  try {
    try {
      ThrowHResult(E_FAIL);
    } catch (const std::exception&) {
      FAIL() << "caught as std::exception";
    }
  } catch (const ATL::CAtlException&) {
    sawAtl = true;
  }
  EXPECT_TRUE(sawAtl);
  bool sawLength = false;
  try {
    try {
      throw std::length_error("vector<T> too long");
    } catch (const ATL::CAtlException&) {
      FAIL() << "caught as CAtlException";
    }
  } catch (const std::logic_error&) {
    sawLength = true;
  }
  EXPECT_TRUE(sawLength);
}
