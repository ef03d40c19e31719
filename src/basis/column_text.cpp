#include "basis/column_text.h"

#include <fmt/format.h>

#include <cmath>

#include "basis/model_text.h"
#include "text/strings.h"

namespace torve {

namespace {

constexpr double scale_tolerance = 1e-9;
constexpr double whole_tolerance = 1e-6;
// Room that a distance formula takes: a frame, and a frame around each input.
constexpr std::size_t distance_frame = 17;
constexpr std::size_t term_frame = 13;
constexpr std::size_t distance_room = 122;

const std::string& label_of(const TextRules& rules, int j) {
  return rules.xlabels[at(j)];
}

// "/4." where the scale isn't 1; blank otherwise.
std::string division(const TextRules& rules, double scale) {
  if (!rules.xscaling || std::abs(scale - 1.0) <= scale_tolerance) return "";
  return fmt::format("/{}", scaletext(scale));
}

// The text that a family raises to a power, without brackets, and whether a scale stands in it.
struct Base {
  std::string text;
  bool scaled;
};

Base base_of(const TextRules& rules, const Column& column) {
  const auto [a, b, c] = column.inputs;
  const auto scale = [&](int j) { return rules.xscale[at(j)]; };
  std::string text = label_of(rules, a);
  double factor = scale(a);
  switch (column.family) {
    case Family::pair:
      text += "*" + label_of(rules, b);
      factor *= scale(b);
      break;
    case Family::triple:
      text += "*" + label_of(rules, b) + "*" + label_of(rules, c);
      factor = factor * scale(b) * scale(c);
      break;
    case Family::ratio:
      text += "/" + label_of(rules, b);
      factor /= scale(b);
      break;
    default:
      break;
  }
  const std::string divisor = division(rules, factor);
  return {text + divisor, !divisor.empty()};
}

// A single unscaled input needs no brackets under its power.
ColumnText power_text(const TextRules& rules, const Column& column) {
  const Base base = base_of(rules, column);
  const double p = column.power;
  if (p == 1.0) {
    const std::string label = base.scaled ? fmt::format("({})", base.text) : base.text;
    return {label, label};
  }
  const bool bare = column.family == Family::monomial && !base.scaled;
  const std::string bracketed = bare ? base.text : fmt::format("({})", base.text);
  const std::string label = bracketed + "**" + numtext(p);
  const bool whole = std::abs(std::fmod(p, 1.0)) <= whole_tolerance;
  if (whole) return {label, fmt::format("power({},{})", base.text, numtext(p))};
  if (p < 0.0) return {label, fmt::format("1/({})**{}", base.text, numtext(-p))};
  return {label, label};
}

ColumnText function_text(const TextRules& rules, const Column& column, std::string_view name) {
  const Base base = base_of(rules, column);
  const std::string label = fmt::format("{}({})", name, base.text);
  return {label, label};
}

// x - v, x + w for a negative centre, x alone for a centre of zero.
std::string difference(const std::string& label, double centre) {
  if (centre > 0.0) return label + "-" + numtext(centre);
  if (centre < 0.0) return label + "+" + numtext(-centre);
  return label;
}

ColumnText gaussian_text(const TextRules& rules, const Column& column, bool& shortened) {
  const std::string factor = scaletext(-rules.rbfparam);
  std::size_t room = distance_frame;
  std::size_t active = 0;
  std::string squares;
  std::string single;
  for (std::size_t j = 0; j < rules.xlabels.size(); ++j) {
    if (rules.excluded[j]) continue;
    room += rules.xlabels[j].size() + term_frame;
    single = difference(rules.xlabels[j], rules.centres(column.index, static_cast<int>(j)));
    squares += (active == 0 ? "(" : "+(") + single + ")**2";
    ++active;
  }
  std::string label;
  shortened = room >= distance_room;
  if (shortened) {
    label = fmt::format("exp ( {} * sum of distances from initial data point {} )", factor,
                        column.index + 1);
  } else if (active < 2) {
    label = fmt::format("exp ( {}*|{}| )", factor, single);
  } else {
    label = fmt::format("exp ( {}*( ( {} )**0.5 ) )", factor, squares);
  }
  return {label, label};
}

ColumnText power_radial_text(const Column& column) {
  const int k = column.radial_power;
  const int c = column.index + 1;
  const std::string label = k % 2 == 0 ? fmt::format("log(r(x,x{}))*r( x,x{})**{}", c, c, k)
                                       : fmt::format("r( x,x{})**{}", c, k);
  return {label, label};
}

}  // namespace

bool touches_excluded(const TextRules& rules, const Column& column) {
  const auto out = [&](int i) { return rules.excluded[at(column.inputs[at(i)])]; };
  switch (column.family) {
    case Family::linear:
    case Family::logarithm:
    case Family::exponential:
    case Family::sine:
    case Family::cosine:
    case Family::monomial:
      return out(0);
    case Family::pair:
    case Family::ratio:
      return out(0) || out(1);
    case Family::triple:
      return out(0) || out(1) || out(2);
    default:
      return false;
  }
}

ColumnText column_text(const TextRules& rules, const Column& column, bool& shortened) {
  ColumnText text;
  shortened = false;
  switch (column.family) {
    case Family::linear:
      text.label = text.power = base_of(rules, column).text;
      break;
    case Family::logarithm:
      if (rules.logusable[at(column.inputs[0])]) text = function_text(rules, column, "log");
      break;
    case Family::exponential:
      text = function_text(rules, column, "exp");
      break;
    case Family::sine:
      text = function_text(rules, column, "sin");
      break;
    case Family::cosine:
      text = function_text(rules, column, "cos");
      break;
    case Family::monomial:
    case Family::pair:
    case Family::triple:
    case Family::ratio:
      text = power_text(rules, column);
      break;
    case Family::gaussian:
      text = gaussian_text(rules, column, shortened);
      break;
    case Family::power_radial:
      text = power_radial_text(column);
      break;
    case Family::kernel:
      break;
    case Family::custom:
      text.label = text.power = trim(rules.custombas[at(column.index)]);
      break;
    case Family::constant:
      text.label = text.power = "1.00";
      break;
  }
  text.label = cut(text.label, label_text_width);
  text.power = cut(text.power, label_text_width);
  return text;
}

}  // namespace torve
