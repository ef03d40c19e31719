#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "run/matrix_view.h"

namespace torve {

inline constexpr std::size_t label_text_width = 712;  // characters of a column text

// The text of a power: whole numbers plainly, others as scaletext.
std::string numtext(double value);

// The text of a scale factor or radial parameter: G19.12E3 without its trailing zeros,
// left-adjusted. The zeros at the end of an exponent go as well; column texts have always looked
// so.
std::string scaletext(double value);

// Replaces every occurrence of `find` that stands alone: between operators, brackets, blanks or the
// ends of the text. Only "**" is replaced wherever it stands. A label that merely contains the text
// stays whole.
std::string replaceterm(std::string_view source, std::string_view find,
                        std::string_view replacement);

// The form of a column text that model text uses, by option funform (1 to 6); `present` is the
// result of any other value.
std::string applyfunform(int funform, std::string_view basislabel, std::string_view basispower,
                         std::string_view present);

// How coefficients are written: with two decimals on the screen, in full digits elsewhere.
enum class ModelDigits { screen, full };

// What a model line is made of. Masks and vectors have one entry a column.
struct ModelTerms {
  std::string_view zlabel;
  bool zisint = false;
  bool constant = false;  // the last column is the constant term
  ColumnMask chosen;
  std::span<const double> beta;
  std::span<const std::string> basismodel;
};

// The model as one line of algebra: " z = 1.50 * x1 - 2.00", without a line end. An empty model has
// the right side "0.00".
std::string writemodel(const ModelTerms& terms, ModelDigits digits);

}  // namespace torve
