/* TORVE as a library: set options and data by name, run, read the models.

   Order of calls: set everything, trvrun, read; trvinit before the next run. There is one run state
   in a process and no lock around it: calls come from one thread at a time.

   Calls with an int result give 0 for success, otherwise a termination code, the same as in the
   messages of the program (docs/messages.md). A call that fails changes nothing. The codes of
   calls: 8  a number isn't finite (or a null pointer) 51  memory is short 64  a size was set
   before, or the points of a count are there already 142  the name is empty (or a null pointer) 143
   the call doesn't know the name 146  the length isn't the size of the list (or a null pointer with
   a length) 147  there is no such output 148  a run has taken place, and trvinit wasn't called 149
   a text is empty (or a null pointer) or has more than 8192 characters 150  the text for the model
   is too short and the order codes of the problem file: a list comes behind the option that gives
   its size.

   Names are those of the problem file (docs/problem-file.md), in any case, up to 8192 characters.
   Numbers don't go through the limits that the problem file has. Texts end with a zero byte and are
   UTF-8 or any other bytes; labels are letters, digits and "_". Indices of outputs count from 1. */
#ifndef TORVE_H
#define TORVE_H

#if defined(__GNUC__)
#define TORVE_CALL __attribute__((visibility("default")))
#else
#define TORVE_CALL
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* An integer or logical option; a logical is true for 1. `value` is read through the pointer. Also
   maxterms for all outputs at once, and ntestdata and ntestsample for the only test set. */
TORVE_CALL int trvsetint(const char* name, const int* value);

/* A real option; convpen has the name convepen here. 8: `value` isn't finite. */
TORVE_CALL int trvsetreal(const char* name, const double* value);

/* fname (problem file), scratchin (scratch folder), simulator, simin, simout, gams, snobfitpath,
   minqpath, gamssolver (gamsmiqcpsolver), gamsnlpsolver, tracefname (which turns the trace on).
   Without fname nothing is read and the run stands on what was set; a file is read on top of it. */
TORVE_CALL int trvsetstring(const char* name, const char* value);

/* ninputs values: exclude, xisint. noutputs values: ignore, zisint, maxterms. One value for each
   test set: ntestdata, ntestsample. Of xisint the first noutputs values are stored. */
TORVE_CALL int trvsetintvector(const char* name, int length, const int* values);

/* ninputs values: xmin, xmax, extrapxmin, extrapxmax, xfactors (none of them 0: 39).
   noutputs values: zmin, zmax, tolmeanerror, tolmaxerror, tolabsmetric, tolrelmetric.
   Any number of values, once each: monomialpower, multi2power, multi3power, ratiopower, prbfpower.
   Points, row after row, `length` being the number of all values:
     data       ndata rows of inputs and outputs; or both of
     xdata      ndata rows of inputs
     zdata      ndata rows of outputs
     testdata   rows of inputs and outputs, as many as ntestdata gives in all
     xpredata   npredata rows of inputs
   The last nbank rows of the points are the bank. Outputs that are formulas (ntrans) have no values
   in a row. A value equal to the option preset is a missing output. */
TORVE_CALL int trvsetrealvector(const char* name, int length, const double* values);

/* xlabels (ninputs) or zlabels (noutputs): `length` labels, divided by blanks, tabs or line ends.
   80, 81, 133: a label isn't a word of letters, digits and "_" behind a letter, or begins with
   trv_. 82: two labels are the same. */
TORVE_CALL int trvsetlabels(const char* name, int length, const char* labels);

/* A whole run. The outcome is trvgetstatus. Files go to the current folder; option print_to_screen
   0 keeps the standard output free, print_to_file 0 leaves no listing, usescratch 0 no scratch
   folder. With neither screen nor listing nor trace the screen is turned on again: for a silent run
   let tracefname be "/dev/null". A second run without trvinit in between does nothing; trvgetstatus
   is then 148. */
TORVE_CALL void trvrun(void);

/* Back to the state before any call, if a run has taken place; otherwise nothing changes. Returns
 * 0. */
TORVE_CALL int trvinit(void);

/* The termination code of the run; 0 while all is well. */
TORVE_CALL int trvgetstatus(void);

/* Seconds that the run took. */
TORVE_CALL double trvgettime(void);

/* The version: year, month, day. Null pointers are passed over. Returns 0. */
TORVE_CALL int trvgetversion(int* year, int* month, int* day);

/* The number of characters of an output's model, without the zero byte; 0 without a model. */
TORVE_CALL int trvgetmodellength(int output, int* length);

/* The model of an output as one line, " z = 1.5 * x - 2", coefficients in full digits, closed by a
   zero byte. `length` is the size of `text` in bytes: one more than trvgetmodellength gives, or 150
   and `text` untouched. */
TORVE_CALL int trvgetmodel(int output, char* text, int length);

#ifdef __cplusplus
}
#endif

#endif
