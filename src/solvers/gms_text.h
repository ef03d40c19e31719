#pragma once

#include <fmt/format.h>

#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "solvers/gms_model.h"

namespace torve {

// A GAMS program as it grows, and the pieces that both programs are made of. Names of elements are
// numbers from 1 in quotes.
class GmsText {
 public:
  void line(std::string_view text) {
    text_ += text;
    text_ += '\n';
  }
  template <class... Args>
  requires(sizeof...(Args) > 0) void line(fmt::format_string<Args...> format, Args&&... args) {
    fmt::format_to(std::back_inserter(text_), format, std::forward<Args>(args)...);
    text_ += '\n';
  }
  std::string take() { return std::move(text_); }

 private:
  std::string text_;
};

// A number in the fewest digits that read back, within -1e30 to 1e30: what is larger has a meaning
// of its own in GAMS.
std::string gms_number(double value);

// The first lines: listing switches, and under debug a remark for each column that is in the mask.
void write_heading(GmsText& text, bool debug, std::string_view title, ColumnMask columns,
                   std::span<const std::string> labels);

// The end of a program, which writes res.put. `choice` is what says of a column j whether it is
// chosen.
void write_put_block(GmsText& text, std::string_view model, std::string_view objective,
                     std::string_view choice);

// Sections of surrogate.gms, in the order of the text. The custom constraints and the bounds at the
// points of the bounding set exist only where a point is of their kind.
struct BoundingKinds {
  bool lower = false;
  bool upper = false;
  bool custom = false;
};
BoundingKinds write_bounding_set(GmsText& text, const BestSubsetProblem& problem);
void declare_equations(GmsText& text, const BestSubsetProblem& problem, const BoundingKinds& kinds);
void write_linking(GmsText& text, const BestSubsetProblem& problem);
void write_objective(GmsText& text, const BestSubsetProblem& problem);
void write_percentage_errors(GmsText& text);
void write_sse_limit(GmsText& text, const BestSubsetProblem& problem);
void write_absolute_errors(GmsText& text);
void write_groups(GmsText& text, const BestSubsetProblem& problem);
void write_solve(GmsText& text, const BestSubsetProblem& problem, const GmsOptions& options);

// The model has variables e.
inline bool has_absolute_errors(const BestSubsetProblem& problem) {
  return problem.error == ErrorModel::absolute;
}
// The model has the variable mad.
inline bool has_percentage_errors(const BestSubsetProblem& problem) {
  return problem.metric == Metric::madp;
}

}  // namespace torve
