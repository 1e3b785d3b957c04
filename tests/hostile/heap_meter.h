// The heap in use by the whole process (C++ new, the codec's memory and OpenSSL's included), and
// its highest point since the meter was last started: what a decode costs at its worst moment.
#pragma once

#include <cstddef>

namespace hostile_test {

class HeapMeter {
 public:
  // Starts a measurement at the heap in use now.
  HeapMeter();
  // The most the heap in use rose above the start, in bytes.
  std::size_t peakRise() const;
  // Whether this build can see the heap (a build under another memory checker, such as
  // valgrind, hands out memory the meter never hears of).
  static bool available();
};

}  // namespace hostile_test
