// The root interfaces of the C++ array API's objects. Their operation positions are
// part of the exported interface: 0 and 1 the destructor pair, 2 addref, 3 release;
// error_info adds 4 get_message and 5 get_stack_trace.
#pragma once

class ref_count_obj {
 public:
  virtual ~ref_count_obj() {}
  // Atomic; each returns the new count. The caller that drops it to zero has destroyed
  // the object.
  virtual int addref() = 0;
  virtual int release() = 0;
};

class error_info : public ref_count_obj {
 public:
  // Null when the message is empty.
  virtual const char* get_message() = 0;
  // Stores the trace lines through `trace` and returns their number; -1 (and null)
  // when no trace is attached.
  virtual int get_stack_trace(const char*** trace) = 0;
};
