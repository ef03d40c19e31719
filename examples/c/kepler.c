/* Kepler's third law from eight planets: a model of the logarithm of the period over the orbit's
   half axis, driven by calls alone. Prints the model; ends with the code of what failed. */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <torve.h>

enum { planets = 8 };

/* Large half axis of the orbit in million km, sidereal period in days. */
static const double orbits[planets][2] = {
    {57.909, 87.969},    {108.210, 224.701},   {149.598, 365.256},  {227.956, 686.980},
    {778.479, 4332.589}, {1432.041, 10759.22}, {2867.043, 30685.4}, {4514.953, 60189}};

static int set_option(const char* name, int value) {
  return trvsetint(name, &value);
}

/* The first call that fails decides. */
static int set_problem(void) {
  const double lowest[1] = {50}, highest[1] = {5000}, powers[2] = {-1, 0.5};
  double data[2 * planets];
  int code = 0;
  for (int i = 0; i < planets; ++i) {
    data[2 * i] = orbits[i][0];
    data[2 * i + 1] = log(orbits[i][1]);
  }
  /* Sizes come first, then what has those sizes. */
  if (code == 0) code = set_option("ninputs", 1);
  if (code == 0) code = set_option("noutputs", 1);
  if (code == 0) code = set_option("ndata", planets);
  if (code == 0) code = trvsetlabels("xlabels", 1, "axis");
  if (code == 0) code = trvsetlabels("zlabels", 1, "lnperiod");
  if (code == 0) code = trvsetrealvector("xmin", 1, lowest);
  if (code == 0) code = trvsetrealvector("xmax", 1, highest);
  if (code == 0) code = trvsetrealvector("data", 2 * planets, data);
  /* Candidates: axis, ln axis, 1/axis, axis^0.5 and a constant. */
  if (code == 0) code = set_option("logfcns", 1);
  if (code == 0) code = trvsetrealvector("monomialpower", 2, powers);
  /* Nothing on the screen, no files: but a run wants to be heard somewhere. */
  if (code == 0) code = set_option("print_to_screen", 0);
  if (code == 0) code = set_option("print_to_file", 0);
  if (code == 0) code = trvsetstring("tracefname", "/dev/null");
  if (code == 0) code = set_option("usescratch", 0);
  return code;
}

static int print_model(int output) {
  int length = 0;
  int code = trvgetmodellength(output, &length);
  if (code != 0) return code;
  char* text = malloc((size_t)length + 1);
  if (text == NULL) return 51;
  code = trvgetmodel(output, text, length + 1);
  if (code == 0) printf("%s\n", text);
  free(text);
  return code;
}

int main(void) {
  int code = set_problem();
  if (code == 0) {
    trvrun();
    code = trvgetstatus();
  }
  if (code == 0) code = print_model(1);
  trvinit();
  if (code != 0) fprintf(stderr, "kepler: code %d, see docs/messages.md\n", code);
  return code != 0;
}
