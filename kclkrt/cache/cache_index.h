// The index of the component cache: what is extracted where, how large it is and when
// it was last used, kept in the cache directory's .krt_cache_index file.
//
// An index object lives for one cache operation, under the cache's root-level lock: it
// reads the file and reconciles it with the directories when it is made, and writes
// itself back, if it changed, when it goes.
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <boost/multi_index/member.hpp>
#include <boost/multi_index/ordered_index.hpp>
#include <boost/multi_index_container.hpp>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

class kclComponentCacheIndex {
 public:
  struct component_info {
    std::string name;
    std::string directory_name;  // inside the cache directory
    uint64_t bytes_used = 0;
    boost::posix_time::ptime last_used;
  };

  class component_not_found : public std::runtime_error {
   public:
    explicit component_not_found(const std::string& name)
        : std::runtime_error("component not found: " + name) {}
  };

  class format_error : public std::runtime_error {
   public:
    using std::runtime_error::runtime_error;
  };

  // Reads the index of `cache_directory`, reconciles it with the component directories
  // there and writes it when that changed it. A file that cannot be read as an index is
  // thrown away and rebuilt from the directories. A directory that is not yet indexed
  // and whose size cannot be measured (part of it cannot be read) is indexed with what
  // could be counted, and no .bytes_used written: the next start that asks for it finds
  // no size and replaces it.
  explicit kclComponentCacheIndex(std::string cache_directory);
  // Writes the index if it changed; a failure to write is only logged.
  ~kclComponentCacheIndex();
  kclComponentCacheIndex(const kclComponentCacheIndex&) = delete;
  kclComponentCacheIndex& operator=(const kclComponentCacheIndex&) = delete;

  const component_info& find(const std::string& name) const;  // throws component_not_found
  bool contains(const std::string& name) const;
  // Adds the record, or replaces the one of the same name.
  void add(const component_info& info);
  void remove(const std::string& name);
  // Sets the record's last-used time to now; throws component_not_found.
  void update_last_used(const std::string& name);
  uint64_t total_bytes_used() const;
  // The records, least recently used first.
  std::vector<component_info> by_last_used() const;
  std::size_t size() const { return records_.size(); }

  bool write_needed() const { return write_needed_; }
  void write_if_needed();

  const std::string& path() const { return path_; }

  // The hidden entries of the cache directory that extractions and replacements left
  // (staging and replaced directories, see component_name.h), as found when reconciling.
  const std::vector<std::string>& leftovers() const { return leftovers_; }

  // Now, in universal time with microseconds: what last-used times are set to.
  static boost::posix_time::ptime now();

  class TimeText;  // the last-used time's text form

 private:
  struct by_name {};
  struct by_last_used_time {};
  struct by_directory {};
  using Records = boost::multi_index_container<
      component_info,
      boost::multi_index::indexed_by<
          boost::multi_index::ordered_unique<
              boost::multi_index::tag<by_name>,
              boost::multi_index::member<component_info, std::string, &component_info::name>>,
          boost::multi_index::ordered_non_unique<
              boost::multi_index::tag<by_last_used_time>,
              boost::multi_index::member<component_info, boost::posix_time::ptime,
                                         &component_info::last_used>>,
          // Reconciliation asks, for each directory, whether a record claims it.
          boost::multi_index::ordered_unique<
              boost::multi_index::tag<by_directory>,
              boost::multi_index::member<component_info, std::string,
                                         &component_info::directory_name>>>>;

  void read();
  void read_records(std::istream& in);
  void reconcile();
  void write_record(std::ostream& out, const component_info& info);

  std::string cache_directory_;
  std::string path_;
  Records records_;
  std::vector<std::string> leftovers_;
  bool write_needed_ = false;
  std::unique_ptr<TimeText> time_text_;
};

// The record in the file's four-line form.
std::ostream& operator<<(std::ostream& out, const kclComponentCacheIndex::component_info& info);
