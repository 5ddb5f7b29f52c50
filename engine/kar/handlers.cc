#include "kar/handlers.h"

#include <atomic>
#include <cstdio>

#include "kar/kar.h"

namespace {

std::atomic<karrtHandlerFcn> error_handler{nullptr};
std::atomic<karrtHandlerFcn> output_handler{nullptr};

}  // namespace

karrtHandlerFcn set_karrt_error_handler(karrtHandlerFcn handler) {
  return error_handler.exchange(handler);
}

karrtHandlerFcn set_karrt_output_handler(karrtHandlerFcn handler) {
  return output_handler.exchange(handler);
}

namespace kar {

void report_error(const std::string& text) {
  std::string line = text + "\n";
  if (karrtHandlerFcn handler = error_handler.load()) {
    handler(line.c_str());
    return;
  }
  std::fputs(line.c_str(), stderr);
  std::fflush(stderr);
}

void report_output(const std::string& text) {
  if (karrtHandlerFcn handler = output_handler.load()) handler((text + "\n").c_str());
}

}  // namespace kar
