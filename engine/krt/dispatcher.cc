#include "krt/dispatcher.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <climits>

#include "ds/path.h"
#include "krt/error_state.h"
#include "krt/instance.h"
#include "krt/lang/parser.h"
#include "krt/lang/symbols.h"
#include "krt/native_library.h"

namespace krt {
namespace {

bool stat_path(const std::string& path, struct stat& st) { return ::stat(path.c_str(), &st) == 0; }

bool is_directory(const std::string& path) {
  struct stat st;
  return stat_path(path, st) && S_ISDIR(st.st_mode);
}

bool is_file(const std::string& path) {
  struct stat st;
  return stat_path(path, st) && !S_ISDIR(st.st_mode);
}

std::string join(const std::string& dir, const std::string& name) {
  if (dir.empty() || dir.back() == '/') return dir + name;
  return dir + "/" + name;
}

// A name that may be a function: a Korel identifier, so it can never climb out of a
// directory or name a hidden file.
bool is_function_name(const std::string& name) {
  if (name.empty() || name.size() > 255) return false;
  if (!(std::isalpha(static_cast<unsigned char>(name[0])))) return false;
  return std::all_of(name.begin(), name.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
  });
}

}  // namespace

Dispatcher::Dispatcher(const krtSourceReader& reader, std::string current_directory,
                       std::vector<std::string> path)
    : reader_(reader), cwd_(std::move(current_directory)) {
  if (cwd_.empty() || !is_directory(cwd_)) {
    char buffer[PATH_MAX];
    cwd_ = getcwd(buffer, sizeof buffer) ? buffer : "/";
  }
  cwd_ = absolute(cwd_);
  for (std::string& dir : path)
    if (!dir.empty()) path_.push_back(absolute(dir));
  path_changed();
}

void Dispatcher::notice_changes() {
  std::vector<int64_t> times;
  times.reserve(path_.size() + 1);
  auto time_of = [](const std::string& dir) -> int64_t {
    struct stat st;
    if (!stat_path(dir, st)) return -1;
    return int64_t(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
  };
  times.push_back(time_of(cwd_));
  for (const std::string& dir : path_) times.push_back(time_of(dir));
  if (times != directory_times_) {
    if (!directory_times_.empty()) ++generation_;
    directory_times_ = std::move(times);
  }
}

void Dispatcher::path_changed() {
  path_text_.clear();
  for (const std::string& dir : path_) {
    if (!path_text_.empty()) path_text_ += ':';
    path_text_ += dir;
  }
  ++generation_;
}

std::string Dispatcher::absolute(const std::string& dir) const {
  std::string full = !dir.empty() && dir[0] == '/' ? dir : join(cwd_, dir);
  std::vector<char> out(full.size() + 2);
  if (!dsCanonicalizePath(out.data(), out.size(), full.c_str(), full.size())) return full;
  return out.data();
}

bool Dispatcher::change_directory(const std::string& dir) {
  std::string full = absolute(dir);
  if (dir.empty() || !is_directory(full)) return false;
  cwd_ = full;
  ++generation_;
  return true;
}

bool Dispatcher::add_path(const std::string& dir, bool at_end) {
  if (dir.empty()) return false;
  std::string full = absolute(dir);
  if (!is_directory(full)) return false;
  path_.erase(std::remove(path_.begin(), path_.end(), full), path_.end());
  path_.insert(at_end ? path_.end() : path_.begin(), full);
  path_changed();
  return true;
}

bool Dispatcher::remove_path(const std::string& dir) {
  std::string full = absolute(dir);
  auto it = std::remove(path_.begin(), path_.end(), full);
  if (it == path_.end()) return false;
  path_.erase(it, path_.end());
  path_changed();
  return true;
}

lang::Target Dispatcher::find(const std::string& name) {
  lang::Target target;
  if (!is_function_name(name)) return target;
  auto search = [&](const std::string& dir) {
    std::string native = join(dir, name + ".klf");
    if (is_file(native)) {
      target.kind = lang::Target::Kind::Gateway;
      target.gateway = load_native_function(native);
      target.path = native;
      return true;
    }
    std::string source = join(dir, name + ".k");
    if (is_file(source)) {
      target.kind = lang::Target::Kind::Program;
      target.program = load_program(source);
      target.path = source;
      return true;
    }
    return false;
  };
  if (search(cwd_)) return target;
  for (const std::string& dir : path_)
    if (search(dir)) return target;
  return target;
}

std::string Dispatcher::locate(const std::string& name, bool directory) const {
  if (name.empty()) return "";
  auto fits = [&](const std::string& p) { return directory ? is_directory(p) : is_file(p); };
  if (name[0] == '/') return fits(name) ? absolute(name) : "";
  if (std::string p = absolute(name); fits(p)) return p;
  if (directory) return "";
  for (const std::string& dir : path_)
    if (std::string p = join(dir, name); fits(p)) return p;
  return "";
}

std::shared_ptr<const lang::LoadedProgram> Dispatcher::load_program(const std::string& file) {
  struct stat st;
  if (!stat_path(file, st))
    kx::raise("Korel:fileNotFound", "Cannot find the file '" + file + "'.");
  int64_t mtime = int64_t(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
  if (auto it = programs_.find(file);
      it != programs_.end() && it->second.mtime_ns == mtime && it->second.size == st.st_size)
    return it->second.program;

  std::string text;
  if (!reader_.read(file, text))
    kx::raise("Korel:fileReadFailed", "Cannot read the file '" + file + "'.");
  auto loaded = std::make_shared<lang::LoadedProgram>();
  loaded->path = file;
  std::string base = file.substr(file.find_last_of('/') + 1);
  loaded->name = base.substr(0, base.rfind('.'));
  try {
    loaded->program = lang::parse_program(text, file);
  } catch (const lang::SyntaxError& e) {
    throw Error("Korel:syntaxError",
                "Invalid Korel text in '" + file + "' at line " + std::to_string(e.line()) +
                    ", column " + std::to_string(e.column()) + ": " + e.what() + ".",
                {StackFrame{file, loaded->name, e.line()}});
  }
  for (const auto& f : loaded->program->functions)
    loaded->functions.emplace_back(lang::intern(f->name), f.get());
  // The primary function is called by the file's name, whatever it is declared as.
  if (!loaded->program->script && !loaded->functions.empty())
    loaded->functions.front().first = lang::intern(loaded->name);
  programs_[file] = CachedProgram{mtime, st.st_size, loaded};
  return loaded;
}

}  // namespace krt
