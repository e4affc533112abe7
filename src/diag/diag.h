// Console printers for problems found in model files, and the warning suppression tables.
//
// Every printer takes the reporting code's source file, line and operation name ahead of
// the message; they are not printed, but a printer prints nothing when the source file,
// the operation or the format is missing. A printer given an XML element adds where it
// stands: file, line, column, the source line and a caret under the column.
#pragma once

#include <cstdint>

#include "trace/trace.h"  // VOS_PRINTF

namespace vos {

struct xml_node;

// error: "error: " at verbosity >= 1, stderr.
void diag_error(const char* source_file, int source_line, const char* operation, const char* format,
                ...) VOS_PRINTF(4, 5);
// "error %i: " at verbosity >= 1, stderr.
void diag_error_at(int number, const char* source_file, int source_line, const char* operation,
                   const xml_node* element, const char* format, ...) VOS_PRINTF(6, 7);
// "warning %i: " at verbosity >= 2, stderr; checked against and recorded into the
// suppression tables when an element is given.
void diag_warning_at(int number, const char* source_file, int source_line, const char* operation,
                     const xml_node* element, const char* format, ...) VOS_PRINTF(6, 7);
// "debug: " at verbosity >= 4, stderr.
void diag_debug_at(const char* source_file, int source_line, const char* operation,
                   const xml_node* element, const char* format, ...) VOS_PRINTF(5, 6);

// The process-wide verbosity, compared unsigned: a count below 0 wraps and shows everything.
void diag_set_verbosity(uint32_t level);
uint32_t diag_verbosity();
// Turns on recording (-r): every warning given an element and not suppressed is added to
// the place table, also when the verbosity hides it; the same place is then suppressed.
void diag_record_warnings();
bool diag_recording();

// Suppression tables: place entries (number, file, line) and global entries (number).
// A null file adds a global entry. The changed table is sorted at once.
void suppress_add(const char* file, uint32_t line, uint32_t number);
bool suppress_is_suppressed(const char* file, uint32_t line, uint32_t number);
// Loads a suppression file (-S): 0, or -1 when it cannot be opened.
int suppress_load(const char* path);
// Writes the place table as a suppression file (-r): 0, or -1 when it cannot be created.
int suppress_write(const char* path);
// Empties both tables and turns recording off; the driver's clean-up and tests call it.
void suppress_clear();

}  // namespace vos

// The reporting code's own place, passed ahead of the operation name.
#define VOS_HERE __FILE__, __LINE__
