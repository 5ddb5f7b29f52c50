// The exported forwarding functions of the array interface: each calls one operation
// of its object's interface. The objects' operations capture their own failures.
#include <cstdarg>

#include "korel/array_api.h"
#include "korel/array_ref.h"

namespace {

template <class Result, class Value>
Result flat_result(Value value) {
  return static_cast<Result>(value);  // booleans come back as 0 or 1
}

}  // namespace

#define KCL_DEFINE_ARRAY_OPERATION(result, name, parameters, arguments)                   \
  result array_ref_##name parameters { return flat_result<result>(a->name arguments); }    \
  result array_handle_##name parameters { return flat_result<result>(a->name arguments); }
KCL_ARRAY_OPERATIONS(KCL_DEFINE_ARRAY_OPERATION)
#undef KCL_DEFINE_ARRAY_OPERATION

#define KCL_DEFINE_VARIADIC(spelling)                                                        \
  array_ref* spelling##_getV_int(array_ref* a, int count, ...) {                             \
    va_list subscripts;                                                                      \
    va_start(subscripts, count);                                                             \
    array_ref* element = a->getV_int(count, subscripts);                                     \
    va_end(subscripts);                                                                      \
    return element;                                                                          \
  }                                                                                          \
  array_ref* spelling##_getV_const_char(array_ref* a, const char* field, int count, ...) {   \
    va_list subscripts;                                                                      \
    va_start(subscripts, count);                                                             \
    array_ref* element = a->getV_const_char(field, count, subscripts);                       \
    va_end(subscripts);                                                                      \
    return element;                                                                          \
  }
KCL_DEFINE_VARIADIC(array_ref)
KCL_DEFINE_VARIADIC(array_handle)
#undef KCL_DEFINE_VARIADIC

int char_buffer_size(char_buffer* b) { return b->size(); }
const char* char_buffer_get_buffer(char_buffer* b) { return b->get_buffer(); }
int char_buffer_set_buffer(char_buffer* b, const char* text) { return b->set_buffer(text); }
int char_buffer_compare_to(char_buffer* b, char_buffer* other) { return b->compare_to(other); }

int array_buffer_size(array_buffer* list) { return list->size(); }
array_ref* array_buffer_get(array_buffer* list, int position) { return list->get(position); }
int array_buffer_set(array_buffer* list, int position, array_ref* value) {
  return list->set(position, value);
}
int array_buffer_add(array_buffer* list, array_ref* value) { return list->add(value); }
int array_buffer_remove(array_buffer* list, int position) { return list->remove(position); }
int array_buffer_clear(array_buffer* list) { return list->clear(); }
array_ref* array_buffer_to_cell(array_buffer* list, int offset, int length) {
  return list->to_cell(offset, length);
}
