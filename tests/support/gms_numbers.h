// Values of GAMS expressions where every name stands for a number: at a point of a model, or behind
// its solution.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "gms_language.h"

namespace torve::test {

// The elements that sets under control stand at, by the names of the sets.
using GmsElements = std::map<std::string, std::string>;

// Calls back for each combination of elements of the indices that aren't controlled yet.
void for_each_element(const GmsProgram& program, const std::vector<GmsIndex>& indices,
                      GmsElements& elements, const std::function<void()>& work,
                      std::size_t from = 0);

// beta(3) for beta(j).
std::string full_name(const GmsExpression& reference, const GmsElements& elements);

double apply_gms_operation(const std::string& name, double a, double b);
double apply_gms_function(const std::string& name, double x);
// 1 where the element that is controlled lies in the set, otherwise 0.
double membership(const GmsProgram& program, const GmsExpression& reference,
                  const GmsElements& elements);
// ord(j): the place of the element in its set, from 1.
double place_of_element(const GmsProgram& program, const GmsExpression& call,
                        const GmsElements& elements);

// What a reference to a parameter, a variable or an attribute stands for, by its full name.
using GmsLookup = std::function<double(const GmsExpression& reference, const std::string& name)>;

double number_of(const GmsProgram& program, const GmsExpression& expression, GmsElements& elements,
                 const GmsLookup& lookup);

}  // namespace torve::test
