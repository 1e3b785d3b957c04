// strcpy_s, the CRT's bounded string copy: from the Windows CRT, or written here for Linux with
// the same results.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstring>

#ifndef STRUNCATE
#define STRUNCATE 80
#endif

#ifndef _WIN32
// Copies `source` with its NUL into `dest` of `size` bytes. Returns 0, EINVAL for a null
// argument or no room at all, ERANGE when the text does not fit (dest then holds empty text).
inline int strcpy_s(char* dest, std::size_t size, const char* source) {
  if (dest == nullptr || size == 0) return EINVAL;
  if (source == nullptr) {
    dest[0] = '\0';
    return EINVAL;
  }
  const std::size_t length = std::strlen(source);
  if (length >= size) {
    dest[0] = '\0';
    return ERANGE;
  }
  std::memcpy(dest, source, length + 1);
  return 0;
}
#endif
