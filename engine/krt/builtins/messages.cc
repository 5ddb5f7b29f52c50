#include "krt/builtins/messages.h"

#include <cctype>
#include <vector>

#include "krt/builtins/arguments.h"
#include "krt/library/format.h"

namespace krt::builtins {

bool looks_like_identifier(const std::string& s) {
  if (s.empty() || s.front() == ':' || s.back() == ':' || s.find(':') == std::string::npos)
    return false;
  if (s.find("::") != std::string::npos) return false;
  for (char ch : s)
    if (std::isspace(static_cast<unsigned char>(ch)) || ch == '%') return false;
  return true;
}

std::pair<std::string, std::string> message_of(lang::ValueList& in, std::size_t from,
                                               const char* function) {
  std::string first = text_argument(in, from, function);
  std::size_t next = from + 1;
  std::string identifier;
  if (in.size() > next && looks_like_identifier(first)) {
    identifier = first;
    first = text_argument(in, next, function);
    ++next;
  }
  if (in.size() == next && identifier.empty()) return {identifier, first};
  std::vector<const kxArray*> args;
  for (std::size_t i = next; i < in.size(); ++i) args.push_back(in[i].get());
  return {identifier, library::format(first, args)};
}

}  // namespace krt::builtins
