#include "demo/console.h"

#include <iostream>
#include <mutex>

namespace tessarin::demo {

void Say(const std::string& line) {
  static std::mutex mutex;
  std::lock_guard<std::mutex> lock(mutex);
  std::cout << line << '\n' << std::flush;
}

}  // namespace tessarin::demo
