/* The calls of torve.h from C. Every case runs in a process of its own, since a run state can't be
   taken back before a run. Arguments: the name of a case, or nothing for all. */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "torve.h"

static int faults = 0;

static void expect_int(int line, const char* what, int expected, int actual) {
  if (expected == actual) return;
  fprintf(stderr, "line %d: %s is %d, not %d\n", line, what, actual, expected);
  ++faults;
}
#define EXPECT(expected, call) expect_int(__LINE__, #call, (expected), (call))

static void expect_text(int line, const char* expected, const char* actual) {
  if (strcmp(expected, actual) == 0) return;
  fprintf(stderr, "line %d: \"%s\", not \"%s\"\n", line, actual, expected);
  ++faults;
}

static int set_int(const char* name, int value) {
  return trvsetint(name, &value);
}
static int set_real(const char* name, double value) {
  return trvsetreal(name, &value);
}

/* ---- a small problem: z = 1 + 2 x1 - 0.5 x2, or 3 x1 for a second output ----------------------
 */

enum { points = 8 };
static const double inputs[points][2] = {{1, 1}, {2, 5}, {3, 2}, {4, 8},
                                         {5, 3}, {6, 1}, {7, 9}, {8, 4}};

static double output(int i) {
  return 1.0 + 2.0 * inputs[i][0] - 0.5 * inputs[i][1];
}

static void set_sizes(int outputs) {
  EXPECT(0, set_int("ninputs", 2));
  EXPECT(0, set_int("noutputs", outputs));
  const double low[2] = {1, 1};
  const double high[2] = {8, 9};
  EXPECT(0, trvsetrealvector("xmin", 2, low));
  EXPECT(0, trvsetrealvector("xmax", 2, high));
  EXPECT(0, set_int("print_to_screen", 0));
  EXPECT(0, set_int("print_to_file", 0));
  EXPECT(0, set_int("trace", 1));
  EXPECT(0, trvsetstring("tracefname", "/dev/null"));
  EXPECT(0, set_int("usescratch", 0));
}

static void set_data(int outputs) {
  double rows[points * 4];
  int next = 0;
  EXPECT(0, set_int("ndata", points));
  for (int i = 0; i < points; ++i) {
    rows[next++] = inputs[i][0];
    rows[next++] = inputs[i][1];
    rows[next++] = output(i);
    if (outputs > 1) rows[next++] = 3.0 * inputs[i][0];
  }
  EXPECT(0, trvsetrealvector("data", next, rows));
}

static void expect_model(int line, int k, const char* beginning) {
  char text[2000];
  expect_int(line, "trvgetmodel", 0, trvgetmodel(k, text, (int)sizeof text));
  if (strncmp(text, beginning, strlen(beginning)) == 0) return;
  fprintf(stderr, "line %d: model \"%s\" doesn't begin with \"%s\"\n", line, text, beginning);
  ++faults;
}

/* The numbers of a model " z1 = a * x1 - b * x2 + c". */
static void expect_plane(int line) {
  char text[2000];
  double a = 0, b = 0, c = 0;
  expect_int(line, "trvgetmodel", 0, trvgetmodel(1, text, (int)sizeof text));
  const int count = sscanf(text, " Z1 = %lf * X1 - %lf * X2 + %lf", &a, &b, &c);
  if (count == 3 && fabs(a - 2) < 1e-12 && fabs(b - 0.5) < 1e-12 && fabs(c - 1) < 1e-12) return;
  fprintf(stderr, "line %d: model \"%s\"\n", line, text);
  ++faults;
}

static void run_normally(int outputs) {
  set_sizes(outputs);
  set_data(outputs);
  trvrun();
  EXPECT(0, trvgetstatus());
}

/* ---- names ------------------------------------------------------------------------------------
 */

static void empty_names(void) {
  const double one = 1;
  const int whole = 1;
  EXPECT(142, set_int("", 1));
  EXPECT(142, set_int("   ", 1));
  EXPECT(142, trvsetint(NULL, &whole));
  EXPECT(142, set_real("", 1));
  EXPECT(142, trvsetstring("", "text"));
  EXPECT(142, trvsetintvector("", 1, &whole));
  EXPECT(142, trvsetrealvector("", 1, &one));
  EXPECT(142, trvsetlabels("", 1, "a"));
}

static void unknown_names(void) {
  const double one = 1;
  const int whole = 1;
  const char* const not_whole[] = {"nonsense",    "sigma",         "xmin",      "fname",
                                   "begin_data",  "requestpoints", "crisoltol", "crncc",
                                   "greedybuild", "ninputs x"};
  for (size_t i = 0; i < sizeof not_whole / sizeof *not_whole; ++i) {
    EXPECT(143, set_int(not_whole[i], 1));
  }
  EXPECT(143, set_real("ninputs", 1));
  EXPECT(143, set_real("convpen", 1));
  EXPECT(143, trvsetstring("ninputs", "2"));
  EXPECT(143, trvsetstring("grpsfile", "x"));
  EXPECT(143, trvsetintvector("xmin", 1, &whole));
  EXPECT(143, trvsetrealvector("ignore", 1, &one));
  EXPECT(143, trvsetlabels("labels", 1, "a"));
}

static void names_in_any_form(void) {
  char* long_name = malloc(20001);
  memset(long_name, 'n', 20000);
  long_name[20000] = '\0';
  EXPECT(143, set_int(long_name, 1));
  free(long_name);
  EXPECT(0, set_int("NINPUTS", 2));
  EXPECT(0, set_int("nOutputs   ", 1));
  EXPECT(64, set_int("nvars", 2));
}

static void other_names_of_options(void) {
  const int counts[1] = {3};
  const double factors[1] = {2};
  EXPECT(0, set_int("nvars", 1));
  EXPECT(64, set_int("ninputs", 1));
  EXPECT(0, set_int("ncvl", 4));
  EXPECT(0, set_int("regularizer", 2));
  EXPECT(0, set_int("nvalsets", 1));
  EXPECT(0, set_int("nvalsections", 1));
  EXPECT(0, set_int("ntestsections", 1));
  EXPECT(0, trvsetintvector("nvaldata", 1, counts));
  EXPECT(0, trvsetintvector("nvalsample", 1, counts));
  EXPECT(0, trvsetrealvector("xfactor", 1, factors));
  EXPECT(0, trvsetlabels("xlabel", 1, "a"));
  EXPECT(0, trvsetstring("gamsmiqcpsolver", "mirak"));
  EXPECT(0, set_int("keepscratch", 1));
  EXPECT(0, set_int("removescratch", 1));
}

static void names_of_few_words(void) {
  EXPECT(0, set_int("groups", 1));
  EXPECT(0, set_int("groupcon", 1));
  EXPECT(0, trvsetrealvector("custombas", 0, NULL));
  EXPECT(0, trvsetrealvector("customcon", 0, NULL));
  EXPECT(0, trvsetrealvector("transforms", 0, NULL));
  EXPECT(0, set_int("iu_out", 32));
  EXPECT(0, set_int("conreg", 1));
}

/* ---- scalars ----------------------------------------------------------------------------------
 */

static void sizes_are_set_once(void) {
  EXPECT(97, set_int("ntrans", 1));
  const char* const sizes[] = {"ninputs", "noutputs",   "ngroups",
                               "ntrans",  "ncustombas", "crncustom"};
  for (size_t i = 0; i < sizeof sizes / sizeof *sizes; ++i) {
    EXPECT(0, set_int(sizes[i], 1));
    EXPECT(64, set_int(sizes[i], 1));
  }
}

static void sizes_beyond_memory(void) {
  EXPECT(51, set_int("ninputs", -1));
  EXPECT(51, set_int("noutputs", -1));
  EXPECT(51, set_int("ninputs", 2147483647));
  EXPECT(51, set_int("noutputs", 2147483647));
  /* What failed may be set again. */
  EXPECT(0, set_int("ninputs", 1));
  EXPECT(0, set_int("noutputs", 1));
}

static void bank_behind_the_data(void) {
  EXPECT(135, set_int("nbank", 1));
  EXPECT(0, set_int("ndata", 4));
  EXPECT(138, set_int("nbank", 5));
  EXPECT(0, set_int("nbank", 4));
}

static void counts_of_points_that_are_there(void) {
  set_sizes(1);
  set_data(1);
  EXPECT(64, set_int("ndata", 1000000));
  EXPECT(137, set_int("nbank", 2));
  EXPECT(98, set_int("ntrans", 1));
  EXPECT(0, set_int("npredata", 1));
  const double point[2] = {2, 2};
  EXPECT(0, trvsetrealvector("xpredata", 2, point));
  EXPECT(64, set_int("npredata", 100));
}

static void reals(void) {
  const char* const names[] = {"sigma",     "tolesterror",       "sismult",  "rbfparam",
                               "mipoptca",  "mipoptcr",          "convepen", "tolsse",
                               "gsiabstol", "gsireltol",         "gsimaxi",  "nulltol",
                               "snobfitp",  "snobfitresolution", "preset",   "maxtime",
                               "crtol",     "realopt1",          "realopt2", "realopt3",
                               "realopt4",  "realopt5"};
  for (size_t i = 0; i < sizeof names / sizeof *names; ++i) EXPECT(0, set_real(names[i], 0.5));
  EXPECT(8, set_real("sigma", NAN));
  EXPECT(8, set_real("maxtime", INFINITY));
  EXPECT(8, trvsetreal("sigma", NULL));
  EXPECT(8, trvsetint("modeler", NULL));
}

/* ---- texts ------------------------------------------------------------------------------------
 */

static void lengths_of_texts(void) {
  char text[8194];
  memset(text, 'a', sizeof text);
  text[8193] = '\0';
  EXPECT(149, trvsetstring("simulator", text));
  text[8192] = '\0';
  EXPECT(0, trvsetstring("simulator", text));
  EXPECT(149, trvsetstring("simin", ""));
  EXPECT(149, trvsetstring("simin", NULL));
  /* An unknown name with a text that is too long: the text is looked at first. */
  text[8192] = 'a';
  EXPECT(149, trvsetstring("nonsense", text));
}

static void texts(void) {
  const char* const names[] = {
      "fname",       "scratchin", "simulator",  "simin",           "simout",        "gams",
      "snobfitpath", "minqpath",  "gamssolver", "gamsmiqcpsolver", "gamsnlpsolver", "tracefname"};
  for (size_t i = 0; i < sizeof names / sizeof *names; ++i)
    EXPECT(0, trvsetstring(names[i], "some"));
}

/* ---- lists ------------------------------------------------------------------------------------
 */

struct List {
  const char* name;
  int of_inputs;
  int before_size; /* the code of the order rule */
};

static const struct List whole_lists[] = {{"exclude", 1, 121},
                                          {"xisint", 1, 99},
                                          {"ignore", 0, 122},
                                          {"zisint", 0, 99},
                                          {"maxterms", 0, 90}};
static const struct List real_lists[] = {
    {"xmin", 1, 9},          {"xmax", 1, 10},         {"xfactors", 1, 11},
    {"extrapxmin", 1, 59},   {"extrapxmax", 1, 60},   {"zmin", 0, 62},
    {"zmax", 0, 128},        {"tolmeanerror", 0, 70}, {"tolmaxerror", 0, 131},
    {"tolabsmetric", 0, 92}, {"tolrelmetric", 0, 91}};
enum {
  whole_list_count = sizeof whole_lists / sizeof *whole_lists,
  real_list_count = sizeof real_lists / sizeof *real_lists
};

static void lists_before_their_size(void) {
  const int wholes[3] = {1, 1, 1};
  const double values[3] = {1, 1, 1};
  for (int i = 0; i < whole_list_count; ++i) {
    EXPECT(whole_lists[i].before_size, trvsetintvector(whole_lists[i].name, 3, wholes));
  }
  for (int i = 0; i < real_list_count; ++i) {
    EXPECT(real_lists[i].before_size, trvsetrealvector(real_lists[i].name, 3, values));
  }
  EXPECT(12, trvsetlabels("xlabels", 2, "a b"));
  EXPECT(13, trvsetlabels("zlabels", 2, "a b"));
}

static void lengths_of_lists(void) {
  const int wholes[4] = {1, 1, 1, 1};
  const double values[4] = {1, 1, 1, 1};
  EXPECT(0, set_int("ninputs", 3));
  EXPECT(0, set_int("noutputs", 2));
  for (int i = 0; i < whole_list_count; ++i) {
    const int right = whole_lists[i].of_inputs ? 3 : 2;
    EXPECT(146, trvsetintvector(whole_lists[i].name, right + 1, wholes));
    EXPECT(146, trvsetintvector(whole_lists[i].name, right - 1, wholes));
    EXPECT(146, trvsetintvector(whole_lists[i].name, right, NULL));
    EXPECT(146, trvsetintvector(whole_lists[i].name, -1, wholes));
    EXPECT(0, trvsetintvector(whole_lists[i].name, right, wholes));
  }
  for (int i = 0; i < real_list_count; ++i) {
    const int right = real_lists[i].of_inputs ? 3 : 2;
    EXPECT(146, trvsetrealvector(real_lists[i].name, right + 1, values));
    EXPECT(146, trvsetrealvector(real_lists[i].name, 0, NULL));
    EXPECT(0, trvsetrealvector(real_lists[i].name, right, values));
  }
  EXPECT(146, trvsetintvector("ntestdata", 2, wholes));
  EXPECT(0, set_int("ntestsets", 2));
  EXPECT(0, trvsetintvector("ntestdata", 2, wholes));
  EXPECT(0, trvsetintvector("ntestsample", 2, wholes));
}

static void values_of_lists(void) {
  const double bad[2] = {1, NAN};
  const double zero[2] = {1, 0};
  const int some[2] = {2147483647, 2147483647};
  EXPECT(0, set_int("ninputs", 2));
  EXPECT(8, trvsetrealvector("xmin", 2, bad));
  EXPECT(39, trvsetrealvector("xfactors", 2, zero));
  EXPECT(0, set_int("ntestsets", 2));
  EXPECT(51, trvsetintvector("ntestdata", 2, some));
}

/* What a refused count had been keeps its points. */
static void counts_beyond_memory(void) {
  const int few[2] = {1, 1}, many[2] = {2147483647, 2147483647};
  const double rows[6] = {1, 1, 2.5, 2, 5, 2.5};
  set_sizes(1);
  EXPECT(0, set_int("ntestsets", 2));
  EXPECT(0, trvsetintvector("ntestdata", 2, few));
  EXPECT(51, trvsetintvector("ntestdata", 2, many));
  EXPECT(0, trvsetrealvector("testdata", 6, rows));
  set_data(1);
  trvrun();
  EXPECT(0, trvgetstatus());
}

/* Of whole numbers that tell which inputs are whole, as many are stored as there are outputs. */
static void whole_inputs_beside_few_outputs(void) {
  const int wholes[3] = {1, 1, 1};
  EXPECT(0, set_int("ninputs", 3));
  EXPECT(0, trvsetintvector("xisint", 3, wholes));
  EXPECT(0, set_int("noutputs", 9));
  EXPECT(0, trvsetintvector("xisint", 3, wholes));
  EXPECT(146, trvsetintvector("xisint", 9, wholes));
}

static void power_lists(void) {
  const double powers[3] = {2, 3, 0.5};
  const struct {
    const char* name;
    int twice;
  } lists[] = {{"monomialpower", 14},
               {"multi2power", 28},
               {"multi3power", 29},
               {"ratiopower", 32},
               {"prbfpower", 129}};
  for (size_t i = 0; i < sizeof lists / sizeof *lists; ++i) {
    EXPECT(0, trvsetrealvector(lists[i].name, 3, powers));
    EXPECT(lists[i].twice, trvsetrealvector(lists[i].name, 3, powers));
  }
}

static void labels(void) {
  EXPECT(0, set_int("ninputs", 2));
  EXPECT(0, set_int("noutputs", 1));
  EXPECT(146, trvsetlabels("xlabels", 2, "a"));
  EXPECT(146, trvsetlabels("xlabels", 2, "a b c"));
  EXPECT(146, trvsetlabels("xlabels", 3, "a b c"));
  EXPECT(146, trvsetlabels("xlabels", 2, NULL));
  EXPECT(80, trvsetlabels("xlabels", 2, "a 1b"));
  EXPECT(81, trvsetlabels("xlabels", 2, "a b-c"));
  EXPECT(133, trvsetlabels("xlabels", 2, "a TRV_b"));
  EXPECT(82, trvsetlabels("xlabels", 2, "ab AB"));
  EXPECT(80, trvsetlabels("zlabels", 1, "_"));
  EXPECT(0, trvsetlabels("xlabels", 2, "\tflow \n temperature "));
  EXPECT(0, trvsetlabels("zlabels", 1, "loss"));
}

/* ---- points -----------------------------------------------------------------------------------
 */

static void points_before_their_sizes(void) {
  const double row[3] = {1, 2, 3};
  EXPECT(15, trvsetrealvector("data", 3, row));
  EXPECT(18, trvsetrealvector("xdata", 3, row));
  EXPECT(20, trvsetrealvector("zdata", 3, row));
  EXPECT(15, trvsetrealvector("testdata", 3, row));
  EXPECT(102, trvsetrealvector("xpredata", 3, row));
  EXPECT(0, set_int("ninputs", 2));
  EXPECT(16, trvsetrealvector("data", 3, row));
  EXPECT(19, trvsetrealvector("xdata", 3, row));
  EXPECT(16, trvsetrealvector("testdata", 3, row));
  EXPECT(100, trvsetrealvector("xpredata", 3, row));
  EXPECT(0, set_int("noutputs", 1));
  EXPECT(17, trvsetrealvector("data", 3, row));
  EXPECT(21, trvsetrealvector("zdata", 3, row));
  EXPECT(52, trvsetrealvector("testdata", 3, row));
}

static void lengths_of_points(void) {
  const double values[20] = {0};
  EXPECT(0, set_int("ninputs", 2));
  EXPECT(0, set_int("noutputs", 1));
  EXPECT(0, set_int("ndata", 4));
  EXPECT(0, set_int("nbank", 1));
  EXPECT(146, trvsetrealvector("data", 11, values));
  EXPECT(146, trvsetrealvector("data", 13, values));
  EXPECT(146, trvsetrealvector("data", 12, NULL));
  EXPECT(146, trvsetrealvector("xdata", 12, values));
  EXPECT(0, trvsetrealvector("zdata", 4, values));
  EXPECT(0, trvsetrealvector("xdata", 8, values));
  EXPECT(140, trvsetrealvector("xdata", 8, values));
  EXPECT(141, trvsetrealvector("zdata", 4, values));
  EXPECT(26, trvsetrealvector("data", 12, values));
  EXPECT(0, set_int("ntestdata", 2));
  EXPECT(146, trvsetrealvector("testdata", 4, values));
  EXPECT(0, trvsetrealvector("testdata", 6, values));
  EXPECT(64, trvsetrealvector("testdata", 6, values));
  EXPECT(64, set_int("ntestdata", 1000));
}

static void points_in_one_list_or_two(void) {
  const double values[20] = {0};
  EXPECT(0, set_int("ninputs", 2));
  EXPECT(0, set_int("noutputs", 1));
  EXPECT(0, set_int("ndata", 4));
  EXPECT(0, trvsetrealvector("data", 12, values));
  EXPECT(139, trvsetrealvector("data", 12, values));
  EXPECT(26, trvsetrealvector("xdata", 8, values));
  EXPECT(27, trvsetrealvector("zdata", 4, values));
}

static void inputs_without_outputs(void) {
  double x[points * 2];
  set_sizes(1);
  for (int i = 0; i < points * 2; ++i) x[i] = inputs[i / 2][i % 2];
  EXPECT(0, set_int("ndata", points));
  EXPECT(0, trvsetrealvector("xdata", points * 2, x));
  trvrun();
  EXPECT(145, trvgetstatus());
}

static void outputs_without_inputs(void) {
  const double z[points] = {0};
  set_sizes(1);
  EXPECT(0, set_int("ndata", points));
  EXPECT(0, trvsetrealvector("zdata", points, z));
  trvrun();
  EXPECT(144, trvgetstatus());
}

/* ---- runs -------------------------------------------------------------------------------------
 */

static void nothing_was_set(void) {
  EXPECT(0, set_int("print_to_screen", 0));
  trvrun();
  EXPECT(22, trvgetstatus());
  EXPECT(147, trvgetmodellength(1, NULL));
}

static void a_run_from_calls_alone(void) {
  int length = -1;
  run_normally(1);
  expect_plane(__LINE__);
  EXPECT(0, trvgetmodellength(1, &length));
  char* text = malloc((size_t)length + 1);
  EXPECT(150, trvgetmodel(1, text, length));
  EXPECT(150, trvgetmodel(1, NULL, 1000));
  EXPECT(150, trvgetmodel(1, text, -1));
  EXPECT(0, trvgetmodel(1, text, length + 1));
  EXPECT(length, (int)strlen(text));
  free(text);
  EXPECT(147, trvgetmodel(0, NULL, 0));
  EXPECT(147, trvgetmodel(2, NULL, 0));
  EXPECT(147, trvgetmodellength(-1, &length));
  EXPECT(1, trvgettime() > 0.0 && trvgettime() < 60.0);
}

static void data_in_two_lists(void) {
  double x[points * 2], z[points];
  set_sizes(1);
  for (int i = 0; i < points; ++i) {
    x[2 * i] = inputs[i][0];
    x[2 * i + 1] = inputs[i][1];
    z[i] = output(i);
  }
  EXPECT(0, set_int("ndata", points));
  EXPECT(0, trvsetrealvector("zdata", points, z));
  EXPECT(0, trvsetrealvector("xdata", points * 2, x));
  trvrun();
  EXPECT(0, trvgetstatus());
  expect_plane(__LINE__);
}

static void two_outputs_one_of_them_ignored(void) {
  const int ignored[2] = {1, 0};
  int length = -1;
  set_sizes(2);
  EXPECT(0, trvsetlabels("zlabels", 2, "first second"));
  EXPECT(0, trvsetintvector("ignore", 2, ignored));
  set_data(2);
  trvrun();
  EXPECT(0, trvgetstatus());
  EXPECT(0, trvgetmodellength(1, &length));
  EXPECT(0, length);
  expect_model(__LINE__, 2, " second = ");
}

static void one_number_of_terms_for_all_outputs(void) {
  char text[2000];
  EXPECT(0, set_int("maxterms", 1));
  run_normally(2);
  for (int k = 1; k <= 2; ++k) {
    EXPECT(0, trvgetmodel(k, text, (int)sizeof text));
    EXPECT(1, strstr(text, " + ") == NULL && strstr(text + 8, " - ") == NULL);
  }
}

/* Calls store what they are given; a run makes the best of it. */
static void numbers_without_a_meaning(void) {
  const char* const names[] = {"modeler", "screener", "initializer", "sampler",
                               "ncvf",    "npenl",    "funform",     "enumall",
                               "enum1",   "maxterms", "builder",     "constant"};
  const int value = 1 - 2147483647 - 1;
  for (size_t i = 0; i < sizeof names / sizeof *names; ++i) EXPECT(0, trvsetint(names[i], &value));
  EXPECT(0, set_real("sismult", -5));
  run_normally(1);
  EXPECT(0, trvinit());
  for (size_t i = 0; i < sizeof names / sizeof *names; ++i)
    EXPECT(0, set_int(names[i], 2147483647));
  run_normally(1);
}

static void calls_after_a_run(void) {
  const int whole = 1;
  const double one = 1;
  run_normally(1);
  EXPECT(148, set_int("seed", 1));
  EXPECT(148, set_int("", 1));
  EXPECT(148, set_real("sigma", 1));
  EXPECT(148, trvsetstring("simin", "x"));
  EXPECT(148, trvsetintvector("ignore", 1, &whole));
  EXPECT(148, trvsetrealvector("xmin", 1, &one));
  EXPECT(148, trvsetlabels("xlabels", 1, "a"));
  EXPECT(0, trvgetstatus());
  trvrun();
  EXPECT(148, trvgetstatus());
  EXPECT(0, trvinit());
  EXPECT(0, trvgetstatus());
  EXPECT(147, trvgetmodellength(1, NULL));
  run_normally(1);
  expect_plane(__LINE__);
}

static void failed_calls_change_nothing(void) {
  const double bad[3] = {7, 7, NAN};
  EXPECT(143, set_int("modelller", 5));
  set_sizes(1);
  EXPECT(8, trvsetrealvector("xmin", 3, bad));
  EXPECT(146, trvsetrealvector("xmax", 3, inputs[0]));
  EXPECT(64, set_int("noutputs", -3));
  set_data(1);
  EXPECT(139, trvsetrealvector("data", 3, inputs[0]));
  trvrun();
  EXPECT(0, trvgetstatus());
  expect_plane(__LINE__);
}

static void write_file(const char* name, const char* text) {
  FILE* file = fopen(name, "w");
  if (file == NULL || fputs(text, file) == EOF || fclose(file) == EOF) exit(3);
}

static void a_file_on_top_of_calls(void) {
  write_file("on_top.trv", "xlabels a b\nmonomialpower 2\n");
  set_sizes(1);
  set_data(1);
  EXPECT(0, trvsetstring("fname", "on_top.trv"));
  trvrun();
  EXPECT(0, trvgetstatus());
  expect_model(__LINE__, 1, " Z1 = ");
  char text[2000];
  EXPECT(0, trvgetmodel(1, text, (int)sizeof text));
  EXPECT(1, strstr(text, " * a ") != NULL);
}

static void a_file_that_gives_a_size_again(void) {
  write_file("again.trv", "ninputs 2\n");
  set_sizes(1);
  set_data(1);
  EXPECT(0, trvsetstring("fname", "again.trv"));
  trvrun();
  EXPECT(64, trvgetstatus());
}

static void a_file_that_is_missing(void) {
  set_sizes(1);
  EXPECT(0, trvsetstring("fname", "nowhere.trv"));
  trvrun();
  EXPECT(4, trvgetstatus());
}

static void the_file_of_the_fallback_name(void) {
  write_file("trvapi",
             "ninputs 1\nnoutputs 1\nxmin 0\nxmax 2\nndata 3\nbegin_data\n0 1\n1 3\n2 5\n"
             "end_data\nprint_to_file 0\nprint_to_screen 0\ntracefname /dev/null\n");
  trvrun();
  EXPECT(0, trvgetstatus());
  expect_model(__LINE__, 1, " Z1 = 2.0000000000");
}

static void version(void) {
  int year = 0, month = 0, day = 0;
  EXPECT(0, trvgetversion(&year, &month, &day));
  EXPECT(1, year >= 2026 && month >= 1 && month <= 12 && day >= 1 && day <= 31);
  EXPECT(0, trvgetversion(NULL, NULL, NULL));
}

static void before_anything(void) {
  EXPECT(0, trvgetstatus());
  EXPECT(0, trvinit());
  EXPECT(147, trvgetmodellength(1, NULL));
  expect_text(__LINE__, "0.00", trvgettime() == 0.0 ? "0.00" : "more");
}

/* ---- the table --------------------------------------------------------------------------------
 */

#define CASE(function) \
  { #function, function }
static const struct {
  const char* name;
  void (*run)(void);
} cases[] = {
    CASE(empty_names),
    CASE(unknown_names),
    CASE(names_in_any_form),
    CASE(other_names_of_options),
    CASE(names_of_few_words),
    CASE(sizes_are_set_once),
    CASE(sizes_beyond_memory),
    CASE(bank_behind_the_data),
    CASE(counts_of_points_that_are_there),
    CASE(reals),
    CASE(lengths_of_texts),
    CASE(texts),
    CASE(lists_before_their_size),
    CASE(lengths_of_lists),
    CASE(values_of_lists),
    CASE(counts_beyond_memory),
    CASE(whole_inputs_beside_few_outputs),
    CASE(power_lists),
    CASE(labels),
    CASE(points_before_their_sizes),
    CASE(lengths_of_points),
    CASE(points_in_one_list_or_two),
    CASE(inputs_without_outputs),
    CASE(outputs_without_inputs),
    CASE(nothing_was_set),
    CASE(a_run_from_calls_alone),
    CASE(data_in_two_lists),
    CASE(two_outputs_one_of_them_ignored),
    CASE(one_number_of_terms_for_all_outputs),
    CASE(numbers_without_a_meaning),
    CASE(calls_after_a_run),
    CASE(failed_calls_change_nothing),
    CASE(a_file_on_top_of_calls),
    CASE(a_file_that_gives_a_size_again),
    CASE(a_file_that_is_missing),
    CASE(the_file_of_the_fallback_name),
    CASE(version),
    CASE(before_anything),
};

static int run_case(size_t i) {
  fflush(NULL);
  const pid_t child = fork();
  if (child == 0) {
    cases[i].run();
    fflush(NULL);
    _exit(faults > 0);
  }
  int status = -1;
  if (child < 0 || waitpid(child, &status, 0) != child) return 1;
  if (status == 0) return 0;
  fprintf(stderr, "%s: %s\n", cases[i].name, WIFEXITED(status) ? "failed" : "crashed");
  return 1;
}

int main(int count, char** arguments) {
  char folder[] = "/tmp/torve_calls_XXXXXX";
  int failed = 0, run = 0;
  if (mkdtemp(folder) == NULL || chdir(folder) != 0) return 3;
  for (size_t i = 0; i < sizeof cases / sizeof *cases; ++i) {
    if (count > 1 && strcmp(arguments[1], cases[i].name) != 0) continue;
    failed += run_case(i);
    ++run;
  }
  const char* const left[] = {"on_top.trv", "again.trv", "trvapi"};
  for (size_t i = 0; i < sizeof left / sizeof *left; ++i) unlink(left[i]);
  if (chdir("/") != 0 || rmdir(folder) != 0) {
    fprintf(stderr, "files were left in %s\n", folder);
    ++failed;
  }
  printf("%d cases, %d failed\n", run, failed);
  return failed > 0 || run == 0;
}
