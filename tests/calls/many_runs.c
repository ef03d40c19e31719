/* Runs in one process, one after the other, each in a folder of its own below the current one.
   Arguments: numbers of the problems below, each as often as it is to be run. The folder of a run
   has its place in the list for a name, from 0, and afterwards holds all that the run leaves, what
   it printed (screen.txt) and what the calls gave (results.txt).
   The last line on the standard output: bytes of the heap in use after the first half of the list
   and at its end, with the run state released each time. */
#include <fcntl.h>
#include <malloc.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "torve.h"

enum { inputs = 2, points = 12, most_options = 6 };

struct Whole {
  const char* name;
  int value;
};
struct Real {
  const char* name;
  double value;
};

/* A problem with data of its own. A file, if there is one, is read on top of the calls. */
struct Problem {
  int outputs;
  struct Whole wholes[most_options];
  struct Real reals[most_options];
  const char* powers; /* the name of a list of powers 2 and 3; null for none */
  const char* file;
};

static const struct Problem problems[] = {
    {.outputs = 1},
    {.outputs = 1, .wholes = {{"modeler", 3}, {"expfcns", 1}, {"logfcns", 1}}},
    {.outputs = 2, .wholes = {{"modeler", 6}, {"maxterms", 2}}, .reals = {{"convepen", 0.2}}},
    {.outputs = 1, .wholes = {{"screener", 2}, {"debug", 1}}, .powers = "monomialpower"},
    {.outputs = 1,
     .wholes = {{"screener", 1}, {"npenl", 20}, {"seed", 7}},
     .powers = "multi2power"},
    {.outputs = 1,
     .wholes = {{"backstepper", 1}, {"enum1", 0}, {"modeler", 5}},
     .powers = "ratiopower"},
    {.outputs = 2,
     .wholes = {{"ngroups", 1}},
     .file = "begin_groups\n1 lin -1\nend_groups\nbegin_groupcon\n1 -1 nmt 1\nend_groupcon\n"},
    {.outputs = 1,
     .wholes = {{"ncustombas", 1}, {"funform", 1}, {"usescratch", 0}},
     .file = "xlabels flow heat\nbegin_custombas\nflow*exp(-heat/3)\nend_custombas\n"},
    /* These two end with a code. */
    {.outputs = 1, .file = "modeler five\n"},
    {.outputs = 1, .wholes = {{"maxiter", 3}}},
};
enum { problem_count = sizeof problems / sizeof *problems };

static double value(int problem, int output, double a, double b) {
  return 1.5 + (output + 2) * a - 0.25 * b * b / (a + 1) + 0.1 * sin(7 * a + 3 * b + problem);
}

/* The first call that fails decides. */
static int status = 0;
static void keep(int result) {
  if (status == 0) status = result;
}

static void set_whole(const char* name, int number) {
  keep(trvsetint(name, &number));
}

static void set_points(int number, const struct Problem* problem) {
  double rows[points * (inputs + 2)];
  int next = 0;
  for (int i = 0; i < points; ++i) {
    const double a = 0.5 + 0.3 * i, b = 1 + (i * 5) % points;
    rows[next++] = a;
    rows[next++] = b;
    for (int k = 0; k < problem->outputs; ++k) rows[next++] = value(number, k, a, b);
  }
  keep(trvsetrealvector("data", next, rows));
}

static void write_file(const char* name, const char* text) {
  FILE* file = fopen(name, "w");
  if (file == NULL || fputs(text, file) == EOF || fclose(file) == EOF) exit(3);
}

static void set_problem(int number) {
  const struct Problem* problem = &problems[number];
  const double low[inputs] = {0.5, 1}, high[inputs] = {5, 13}, powers[2] = {2, 3};
  set_whole("ninputs", inputs);
  set_whole("noutputs", problem->outputs);
  set_whole("ndata", points);
  keep(trvsetrealvector("xmin", inputs, low));
  keep(trvsetrealvector("xmax", inputs, high));
  for (int i = 0; i < most_options && problem->wholes[i].name != NULL; ++i) {
    set_whole(problem->wholes[i].name, problem->wholes[i].value);
  }
  for (int i = 0; i < most_options && problem->reals[i].name != NULL; ++i) {
    keep(trvsetreal(problem->reals[i].name, &problem->reals[i].value));
  }
  if (problem->powers != NULL) keep(trvsetrealvector(problem->powers, 2, powers));
  set_points(number, problem);
  keep(trvsetstring("tracefname", "run.trc"));
  if (problem->file == NULL) return;
  write_file("run.trv", problem->file);
  keep(trvsetstring("fname", "run.trv"));
}

static void write_results(int number) {
  FILE* file = fopen("results.txt", "w");
  if (file == NULL) exit(3);
  fprintf(file, "calls %d\nstatus %d\n", status, trvgetstatus());
  for (int k = 1; k <= problems[number].outputs; ++k) {
    int length = 0;
    const int result = trvgetmodellength(k, &length);
    char* text = calloc((size_t)length + 1, 1);
    fprintf(file, "model %d: %d, %d, %s\n", k, result, trvgetmodel(k, text, length + 1), text);
    free(text);
  }
  if (fclose(file) == EOF) exit(3);
}

/* What the run prints goes to a file of its folder. */
static void run_into_file(int number) {
  fflush(stdout);
  const int kept = dup(STDOUT_FILENO);
  const int screen = open("screen.txt", O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (kept < 0 || screen < 0 || dup2(screen, STDOUT_FILENO) < 0) exit(3);
  close(screen);
  set_problem(number);
  trvrun();
  fflush(stdout);
  dup2(kept, STDOUT_FILENO);
  close(kept);
}

static size_t run_in_folder(int place, int number) {
  char folder[32];
  snprintf(folder, sizeof folder, "%d", place);
  if (mkdir(folder, 0755) != 0 || chdir(folder) != 0) exit(3);
  status = 0;
  run_into_file(number);
  write_results(number);
  if (chdir("..") != 0 || trvinit() != 0) exit(3);
  return mallinfo2().uordblks;
}

int main(int count, char** arguments) {
  size_t middle = 0, last = 0;
  mallopt(M_MXFAST, 0); /* blocks that wait for the next request would count as used */
  for (int i = 1; i < count; ++i) {
    const int number = atoi(arguments[i]);
    if (number < 0 || number >= problem_count) return 2;
    last = run_in_folder(i - 1, number);
    if (i == (count - 1) / 2) middle = last;
  }
  printf("heap %zu %zu\n", middle, last);
  return 0;
}
