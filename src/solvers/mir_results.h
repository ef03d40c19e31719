#pragma once

#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace torve {

// What the solver mirak leaves behind: a record of counts and statuses in tim.lst, and a listing
// with the best solution in res.lst. Both are read in free layout. Nothing is taken for a value
// that isn't a whole finite number at its place; a file that ends too early, too.

// Reads records of a name and numbers. A record may run over several lines; what follows its last
// value on the line is ignored. Every item must be there: two commas, or a slash that ends a
// record early, leave nothing out.
class ResultReader {
 public:
  explicit ResultReader(std::string_view text) : rest_(text) {}

  // Goes behind the first line that begins with the words. False: there is none.
  bool find_line(std::string_view words);
  // False: there are fewer lines.
  bool skip_lines(int count);

  // One record; all false when an item is missing or is something else.
  bool read_name();
  bool read_whole(int& value);
  bool read_real(double& value);
  void end_record();

 private:
  std::optional<std::string_view> next_item();
  std::optional<std::string_view> next_value();

  std::string_view rest_;
  std::string_view repeated_;  // a value written once for several
  int repeats_ = 0;            // how often it still counts
};

// What tim.lst says of the end; nothing when the file is no good.
struct MirEnd {
  int status = 0;
  double bound = 0.0;  // the first of its two reals; no more than a line of the debug listing
};
std::optional<MirEnd> read_mir_end(std::string_view tim);
std::optional<int> read_mir_status(std::string_view tim);

// What the status means: 0 there is a solution in res.lst, 1 there is none, 3 the solver ended in
// another way.
int miperr_of_status(int status);

// The last number of each of `count` records of the form "name real real".
std::optional<std::vector<double>> read_mir_values(ResultReader& reader, int count);

// How many variables of each kind the model declares: the solver lists them in that order.
struct MirLayout {
  int terms = 0;     // variables y
  int groups = 0;    // variables yg
  int positive = 0;  // variables e or mad
  int free = 0;      // variables beta
};

// Values of the best solution in res.lst.
struct MirSolution {
  std::vector<double> y;     // terms
  std::vector<double> beta;  // free
};

std::optional<MirSolution> read_mir_solution(std::string_view res, const MirLayout& layout);

}  // namespace torve
