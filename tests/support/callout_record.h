// What an error callback saw of each record, in order, for the tests of the
// callout. `record` only records; `record_writing` also puts g_written (7 - 7i
// unless a test says otherwise) into the record's result, which reaches the
// array when the callback returns 0. Both return g_answer.
#pragma once

#include <string>
#include <vector>

#include "zev/zev_vqm.h"

namespace zevtest {

struct Seen {
  int status, index;
  std::string name;
  double a1, a2, a2_im, r1, r1_im;  // as the kernel filled the record
};
inline std::vector<Seen> g_seen;
inline int g_answer = 0;
inline double g_written = 7.0, g_written_im = -7.0;

inline int record(zev_vqm_error_record* rec) {
  g_seen.push_back({rec->status, rec->index, std::string(rec->name, rec->name_length), rec->a1, rec->a2, rec->a2_im,
                    rec->r1, rec->r1_im});
  return g_answer;
}
inline int record_writing(zev_vqm_error_record* rec) {
  const int answer = record(rec);
  rec->r1 = g_written;
  rec->r1_im = g_written_im;
  return answer;
}

}  // namespace zevtest
