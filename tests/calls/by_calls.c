/* A problem file through calls: every item that calls can carry is set by them, the rest (sections
   of text) goes to a file that is read on top. Arguments: the problem file. Prints the termination
   code, and the model of each output. The run prints nothing and leaves no listing. */
#include <ctype.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "torve.h"

enum { longest_line = 20000, most_values = 100000 };

static double values[most_values];
static int value_count = 0;
static FILE* rest = NULL;

static void stop(const char* what, const char* detail) {
  fprintf(stderr, "by_calls: %s: %s\n", what, detail);
  exit(2);
}

static void cut_comment(char* line) {
  line[strcspn(line, "#!\r\n")] = '\0';
}

/* Adds the numbers of a text; 0 if there is something else in it. */
static int add_numbers(const char* text) {
  for (;;) {
    char* end = NULL;
    text += strspn(text, " \t:=");
    if (*text == '\0') return 1;
    const double value = strtod(text, &end);
    if (end == text || value_count == most_values) return 0;
    values[value_count++] = value;
    text = end;
  }
}

static int words_in(const char* text) {
  int count = 0;
  for (text += strspn(text, " \t"); *text != '\0'; text += strspn(text, " \t")) {
    text += strcspn(text, " \t");
    ++count;
  }
  return count;
}

static int set_whole(const char* name) {
  const int whole = (int)values[0];
  if (value_count != 1 || (double)whole != values[0]) return 143;
  return trvsetint(name, &whole);
}

static int set_wholes(const char* name) {
  int wholes[100];
  if (value_count > 100) return 143;
  for (int i = 0; i < value_count; ++i) wholes[i] = (int)values[i];
  return trvsetintvector(name, value_count, wholes);
}

static int set_real(const char* name) {
  if (value_count != 1) return 143;
  return trvsetreal(strcmp(name, "convpen") == 0 ? "convepen" : name, &values[0]);
}

/* 143 is the answer of a call to the names of the others. */
static int set_numbers(const char* name) {
  int code = set_whole(name);
  if (code == 143) code = set_real(name);
  if (code == 143) code = set_wholes(name);
  if (code == 143) code = trvsetrealvector(name, value_count, values);
  return code;
}

static void set_item(const char* name, const char* text) {
  int code = 143;
  value_count = 0;
  if (add_numbers(text)) code = set_numbers(name);
  if (code == 143) code = trvsetlabels(name, words_in(text), text);
  if (code == 143) code = trvsetstring(name, text);
  if (code != 0) {
    fprintf(stderr, "code %d\n", code);
    stop("no call takes", name);
  }
}

/* Points are handed over whole; the sections of text go on to the file. */
static void set_section(const char* name, FILE* file) {
  char line[longest_line];
  const int points = strstr("data xdata zdata testdata xpredata", name + 6) != NULL;
  value_count = 0;
  if (!points) fprintf(rest, "%s\n", name);
  while (fgets(line, sizeof line, file) != NULL) {
    cut_comment(line);
    const int is_end = strncmp(line, "end_", 4) == 0;
    if (!points) {
      fprintf(rest, "%s\n", line);
    } else if (!is_end && !add_numbers(line)) {
      stop("not a row", line);
    }
    if (is_end) break;
  }
  if (points && trvsetrealvector(name + 6, value_count, values) != 0) stop("not taken", name);
}

static void set_file(FILE* file) {
  char line[longest_line], name[64];
  while (fgets(line, sizeof line, file) != NULL) {
    int length = 0;
    cut_comment(line);
    if (sscanf(line, "%63s%n", name, &length) != 1) continue;
    if (strncmp(name, "begin_", 6) == 0) {
      set_section(name, file);
    } else {
      const char* text = line + length;
      set_item(name, text + strspn(text, " \t"));
    }
  }
}

static void print_models(void) {
  int length = 0;
  printf("status %d\n", trvgetstatus());
  for (int k = 1; trvgetmodellength(k, &length) == 0; ++k) {
    char* text = calloc((size_t)length + 1, 1);
    if (text != NULL && trvgetmodel(k, text, length + 1) == 0 && length > 0) printf("%s\n", text);
    free(text);
  }
}

int main(int count, char** arguments) {
  const int off = 0;
  FILE* file = count == 2 ? fopen(arguments[1], "r") : NULL;
  rest = fopen("rest.trv", "w");
  if (file == NULL || rest == NULL) return 3;
  trvsetint("print_to_screen", &off);
  trvsetint("print_to_file", &off);
  /* A run that is to be silent everywhere turns the screen on again. */
  trvsetstring("tracefname", "/dev/null");
  set_file(file);
  fclose(file);
  fclose(rest);
  trvsetstring("fname", "rest.trv");
  trvrun();
  print_models();
  return trvinit();
}
