#include "run_folder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <string>

#include "run_masks.h"

namespace torve::test {
namespace {

// ---- Masks -------------------------------------------------------------------------------------

struct MaskRow {
  const char* name;
  const char* text;
  const char* masked;
};

std::string name_of(const testing::TestParamInfo<MaskRow>& info) {
  return info.param.name;
}

class LineMasks : public testing::TestWithParam<MaskRow> {};

TEST_P(LineMasks, hide_times_only) {
  EXPECT_EQ(mask_lines(GetParam().text), GetParam().masked);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, LineMasks,
    testing::Values(
        MaskRow{"iteration", "Iteration 1 (Approx. elapsed time 0.31E-02 s)\n",
                "Iteration 1 (Approx. elapsed time <t> s)\n"},
        MaskRow{"total", "Total execution time 12.5 s\n", "Total execution time <t> s\n"},
        MaskRow{"least_squares",
                "    OLR time:        0.1 s in 17 ordinary linear regression problems\n",
                "    OLR time:        <t> s in 17 ordinary linear regression problems\n"},
        MaskRow{"constrained",
                "    CLR time:        1e-3 s in 2 constrained linear regression problems\n",
                "    CLR time:        <t> s in 2 constrained linear regression problems\n"},
        MaskRow{"integer", "    MINLP time:      0 s in 0 optimization problems\n",
                "    MINLP time:      <t> s in 0 optimization problems\n"},
        MaskRow{"lasso", "    Lasso time:      .5 s in 1 nonlinear problems\n",
                "    Lasso time:      <t> s in 1 nonlinear problems\n"},
        MaskRow{"sampling", "    Sampling time:   3.0 s to sample 4 from NBANK = 9 points\n",
                "    Sampling time:   <t> s to sample 4 from NBANK = 9 points\n"},
        MaskRow{"simulation", "    Simulation time: 3.0 s to simulate 4 points\n",
                "    Simulation time: <t> s to simulate 4 points\n"},
        MaskRow{"other", "    All other time:  -0.1E-07 s in 1 iterations\n",
                "    All other time:  <t> s in 1 iterations\n"},
        MaskRow{"left_for_mirak", " maxtime: 999.98765 ;\n", " maxtime: <t> ;\n"},
        MaskRow{"left_for_gams", "option reslim =1e-3 ;\n", "option reslim =<t> ;\n"},
        MaskRow{"other_limits", "epsa: 0.5 ;\noption optca = 0.5 ;\n",
                "epsa: 0.5 ;\noption optca = 0.5 ;\n"},
        MaskRow{"last_line_without_end", "Total execution time 1 s", "Total execution time <t> s"},
        MaskRow{"several_lines", "a 1 s\nTotal execution time 1 s\n\nb\n",
                "a 1 s\nTotal execution time <t> s\n\nb\n"},
        MaskRow{"no_number", "Total execution time NaN s\n", "Total execution time NaN s\n"},
        MaskRow{"blank_before_number", "Total execution time  1 s\n",
                "Total execution time  1 s\n"},
        MaskRow{"no_unit", "Total execution time 1\n", "Total execution time 1\n"},
        MaskRow{"number_is_last", "Total execution time ", "Total execution time "},
        MaskRow{"other_label", "    OLR times:       1 s in 1 problems\n",
                "    OLR times:       1 s in 1 problems\n"},
        MaskRow{"nothing", "", ""}),
    name_of);

TEST(LineMasksOfOtherKinds, hide_the_rest_of_the_line) {
  constexpr Mask row{"built for ", Masked::rest_of_line, "", "<system>"};
  EXPECT_EQ(mask_lines("a built for b c\nbuilt for \nbuilt for d", {&row, 1}),
            "a built for <system>\nbuilt for \nbuilt for <system>");
}

class TraceMasks : public testing::TestWithParam<MaskRow> {};

TEST_P(TraceMasks, hide_columns_by_name) {
  EXPECT_EQ(mask_trace(GetParam().text), GetParam().masked);
}

INSTANTIATE_TEST_SUITE_P(
    Traces, TraceMasks,
    testing::Values(
        MaskRow{"header_alone", "#filename, SimTime, Model\n", "#filename, SimTime, Model\n"},
        MaskRow{"row", "#filename, SSE, SimTime, TorveVersion, Model\na.trv, 1.5, 0.25, 1.0.2, z\n",
                "#filename, SSE, SimTime, TorveVersion, Model\na.trv, 1.5, <t>, <t>, z\n"},
        MaskRow{"all_columns",
                "#filename, OLRTime, CLRTime, MIPTime, LassoTime, SimTime, OtherTime, TimeConv, "
                "Step0Time, Step1Time, Step2Time, TotalTime, TorveVersion, Model\n"
                "a, 1, 2, 3, 4, 5, 6, -111111.0, 8, 9, 10, 11, 12, 13\n",
                "#filename, OLRTime, CLRTime, MIPTime, LassoTime, SimTime, OtherTime, TimeConv, "
                "Step0Time, Step1Time, Step2Time, TotalTime, TorveVersion, Model\n"
                "a, <t>, <t>, <t>, <t>, <t>, <t>, <t>, <t>, <t>, <t>, <t>, <t>, 13\n"},
        MaskRow{"model_with_separators", "#filename, SimTime, Model\na, 1, f(x, 2, 3)\n",
                "#filename, SimTime, Model\na, <t>, f(x, 2, 3)\n"},
        MaskRow{"columns_change_with_the_header",
                "#filename, SimTime, Model\na, 1, 2\n#filename, Cp, Model\na, 1, 2\n",
                "#filename, SimTime, Model\na, <t>, 2\n#filename, Cp, Model\na, 1, 2\n"},
        MaskRow{"short_row", "#filename, SimTime, Model\na, 1\n",
                "#filename, SimTime, Model\na, 1\n"},
        MaskRow{"no_number", "#filename, SimTime, Model\na, , 2\nb, x, 2\n",
                "#filename, SimTime, Model\na, , 2\nb, x, 2\n"},
        MaskRow{"no_header", "a, 1, 2\n", "a, 1, 2\n"}),
    name_of);

TEST(OutputMasks, name_the_folder_and_tell_traces_from_other_texts) {
  EXPECT_EQ(mask_output("in /tmp/q/a and /tmp/q.\nTotal execution time 1 s\n", "/tmp/q"),
            "in <folder>/a and <folder>.\nTotal execution time <t> s\n");
  EXPECT_EQ(mask_output("user's line\n#filename, SimTime, Model\n/tmp/q/a, 1, 2\n", "/tmp/q"),
            "user's line\n#filename, SimTime, Model\n<folder>/a, <t>, 2\n");
}

TEST(FirstDifference, is_empty_for_equal_texts) {
  EXPECT_EQ(first_difference("", ""), "");
  EXPECT_EQ(first_difference("a\nb", "a\nb"), "");
}

TEST(FirstDifference, shows_lines_around) {
  EXPECT_EQ(
      first_difference("1\n2\n3\n4\nold\n6\n7\n8\n9\n", "1\n2\n3\n4\nnew\nnewer\n6\n7\n8\n9\n"),
      "@@ line 5 @@\n 2\n 3\n 4\n-old\n+new\n+newer\n 6\n 7\n 8\n");
}

TEST(FirstDifference, shows_what_cannot_be_seen) {
  EXPECT_EQ(first_difference("a \n", "a\r\n"), "@@ line 1 @@\n-a <end of line>\n+a\\x0d\n");
  EXPECT_EQ(first_difference("a\n", "a"),
            "@@ line 1 @@\n-a\n+a<end of file without end of line>\n");
}

TEST(FirstDifference, of_texts_of_which_one_begins_the_other) {
  EXPECT_EQ(first_difference("a\nb\n", "a\n"), "@@ line 2 @@\n a\n-b\n");
  EXPECT_EQ(first_difference("", "a\na\n"), "@@ line 1 @@\n+a\n+a\n");
}

TEST(FirstDifference, cuts_long_texts) {
  std::string text;
  for (int i = 0; i < 100; ++i) text += "line\n";
  const std::string difference = first_difference("", text);
  EXPECT_TRUE(difference.ends_with("+line\n+... and 88 more lines\n")) << difference;
}

// ---- The set-up of a case ----------------------------------------------------------------------

class SetupOfFiles : public testing::Test {
 protected:
  fs::path file(const std::string& name) const { return folder_.path() / name; }
  void set_up(const std::string& text) const { set_up_files(parse_setup(text), folder_.path()); }

 private:
  TemporaryFolder folder_;
};

TEST_F(SetupOfFiles, mkdir_makes_folders_above_too) {
  set_up("mkdir a/b\nmkdir \"with blank\"\n");
  EXPECT_TRUE(fs::is_directory(file("a/b")));
  EXPECT_TRUE(fs::is_directory(file("with blank")));
}

TEST_F(SetupOfFiles, symlink_may_lead_anywhere) {
  set_up("symlink /nowhere/at/all link");
  EXPECT_EQ(fs::read_symlink(file("link")), "/nowhere/at/all");
}

TEST_F(SetupOfFiles, chmod_takes_octal_digits) {
  set_up("touch a\nchmod 0640 a\n");
  EXPECT_EQ(fs::status(file("a")).permissions(), fs::perms(0640));
}

TEST_F(SetupOfFiles, copy_takes_files_and_folders) {
  set_up("mkdir d\ntouch d/a\nappend-bytes d/a 41\ncopy d/a b\ncopy d e\n");
  EXPECT_EQ(read_file(file("b")), "A");
  EXPECT_EQ(read_file(file("e/a")), "A");
}

TEST_F(SetupOfFiles, crlf_ends_every_line) {
  write_file(file("a"), "1\n\n2");
  set_up("crlf a");
  EXPECT_EQ(read_file(file("a")), "1\r\n\r\n2");
}

TEST_F(SetupOfFiles, append_bytes_takes_any_byte) {
  write_file(file("a"), "x");
  set_up("append-bytes a 00 ff 0A");
  EXPECT_EQ(read_file(file("a")), std::string("x\0\xff\n", 4));
}

TEST_F(SetupOfFiles, touch_leaves_what_is_there) {
  write_file(file("a"), "x");
  set_up("touch a\ntouch b\n");
  EXPECT_EQ(read_file(file("a")), "x");
  EXPECT_EQ(read_file(file("b")), "");
}

TEST_F(SetupOfFiles, no_name_leads_out_of_the_folder) {
  EXPECT_THROW(set_up("touch /tmp/torve-outside"), std::runtime_error);
  EXPECT_THROW(set_up("mkdir a/../../b"), std::runtime_error);
}

TEST(SetupText, has_defaults) {
  const RunSetup setup = parse_setup("");
  EXPECT_EQ(setup.runs, 1);
  EXPECT_EQ(setup.timeout_seconds, 60);
  EXPECT_EQ(setup.ending_signal, 0);
  EXPECT_FALSE(setup.as_nobody || setup.memory_bytes || setup.file_bytes);
}

TEST(SetupText, notes_how_the_program_is_started) {
  const RunSetup setup = parse_setup(
      "# a remark\n\nenv A=b=c\nenv B=\nenv C\ncwd d\nlimit-memory 2\nlimit-file 3\n"
      "signal 0.5 SIGHUP\nas-nobody\nruns 2\ntimeout 1.5\nexpect-signal SIGTERM\n"
      "expect-absent e\nexpect-present f\nexpect-same \"g h\"\n");
  EXPECT_EQ(setup.environment.at("A"), "b=c");
  EXPECT_EQ(setup.environment.at("B"), "");
  EXPECT_EQ(setup.environment.at("C"), std::nullopt);
  EXPECT_EQ(setup.working_folder, "d");
  EXPECT_EQ(setup.memory_bytes, 2U << 20U);
  EXPECT_EQ(setup.file_bytes, 3U << 10U);
  ASSERT_EQ(setup.signals.size(), 1U);
  EXPECT_EQ(setup.signals[0].seconds, 0.5);
  EXPECT_EQ(setup.signals[0].number, SIGHUP);
  EXPECT_TRUE(setup.as_nobody);
  EXPECT_EQ(setup.runs, 2);
  EXPECT_EQ(setup.timeout_seconds, 1.5);
  EXPECT_EQ(setup.ending_signal, SIGTERM);
  EXPECT_EQ(setup.absent, Words{"e"});
  EXPECT_EQ(setup.present, Words{"f"});
  EXPECT_EQ(setup.same, Words{"g h"});
}

struct BadLine {
  const char* name;
  const char* line;
};

class BadSetup : public testing::TestWithParam<BadLine> {};

TEST_P(BadSetup, names_the_line) {
  try {
    parse_setup(std::string("mkdir a\n") + GetParam().line);
    FAIL() << "the line was accepted";
  } catch (const std::runtime_error& fault) {
    EXPECT_TRUE(std::string_view(fault.what()).starts_with("setup.txt, line 2: ")) << fault.what();
  }
}

INSTANTIATE_TEST_SUITE_P(
    Lines, BadSetup,
    testing::Values(BadLine{"unknown_verb", "rm a"}, BadLine{"missing_word", "mkdir"},
                    BadLine{"word_too_many", "mkdir a b"}, BadLine{"no_number", "runs two"},
                    BadLine{"number_with_rest", "limit-file 1k"}, BadLine{"negative", "timeout -1"},
                    BadLine{"unknown_signal", "signal 1 TERM"}),
    [](const auto& row) { return std::string(row.param.name); });

// ---- Runs of the echo program ------------------------------------------------------------------

class RunOfCase : public testing::Test {
 protected:
  void put(const std::string& name, std::string_view text) const { write_file(file(name), text); }
  fs::path file(const std::string& name) const { return folder_.path() / name; }
  CaseReport run(Mode mode = Mode::compare) const {
    return run_case(folder_.path(), TORVE_ECHO_PROGRAM, mode);
  }
  // The faults of a run with these arguments, set-up and expected screen.
  std::string faults(std::string_view arguments, std::string_view setup,
                     std::string_view screen) const {
    put("arguments", arguments);
    put("setup.txt", setup);
    put("expected.screen", screen);
    return joined(run());
  }
  static std::string joined(const CaseReport& report) {
    std::string text;
    for (const std::string& fault : report.faults) text += fault + '\n';
    return text;
  }

 private:
  TemporaryFolder folder_;
};

TEST_F(RunOfCase, has_one_argument_by_default) {
  put("expected.screen", "argument problem.trv\n");
  EXPECT_EQ(joined(run()), "");
}

TEST_F(RunOfCase, passes_arguments_line_by_line) {
  EXPECT_EQ(faults("", "", "no arguments\n"), "");
  EXPECT_EQ(faults("a b\n\n<folder>/c", "", "argument a b\nargument \nargument <folder>/c\n"), "");
}

TEST_F(RunOfCase, copies_the_user_files_only) {
  put("problem.trv", "text\n");
  fs::create_directory(file("sub"));
  put("sub/data", "data\n");
  EXPECT_EQ(faults("show-file=problem.trv\nshow-file=sub/data\ncan-read=setup.txt\n"
                   "can-read=arguments\ncan-read=expected.screen\n",
                   "",
                   "text\ndata\nsetup.txt cannot be read\narguments cannot be read\n"
                   "expected.screen cannot be read\n"),
            "");
}

TEST_F(RunOfCase, reads_no_input) {
  EXPECT_EQ(faults("show-input", "", "no input\n"), "");
}

TEST_F(RunOfCase, masks_times_on_the_screen) {
  EXPECT_EQ(faults("say=Total execution time 3.25 s", "", "Total execution time <t> s\n"), "");
}

TEST_F(RunOfCase, reports_a_differing_screen) {
  EXPECT_EQ(faults("say=a\nsay=b", "", "a\nc\n"),
            "expected.screen (-) differs from the run (+)\n@@ line 2 @@\n a\n-c\n+b\n\n");
}

TEST_F(RunOfCase, reports_a_missing_expected_screen) {
  EXPECT_EQ(joined(run()), "no expected.screen, but the run wrote\nargument problem.trv\n\n");
}

TEST_F(RunOfCase, reports_text_on_standard_error) {
  EXPECT_EQ(faults("complain=oh", "", ""), "on standard error:\noh\n\n");
}

TEST_F(RunOfCase, compares_the_listing_under_any_name) {
  put("expected.lst", "a\n    OLR time:        <t> s in 1 p\n");
  EXPECT_EQ(faults("write=some.lst:a|    OLR time:        0.5 s in 1 p|", "", ""), "");
  EXPECT_NE(faults("write=some.lst:b|", "", ""), "");
  EXPECT_EQ(faults("say=a", "", "a\n"), "expected.lst: the run wrote no such file\n");
}

TEST_F(RunOfCase, accepts_one_listing_only) {
  put("expected.lst", "a\n");
  EXPECT_EQ(faults("write=p.lst:a|\nwrite=q.lst:a|", "", ""), "a second listing: q.lst\n");
}

TEST_F(RunOfCase, reports_an_unexpected_listing_or_trace) {
  EXPECT_EQ(faults("write=p.lst:a|", "", ""), "no expected.lst, but the run wrote\na\n\n");
  EXPECT_EQ(faults("write=trace.trc:a|", "", ""), "no expected.trc, but the run wrote\na\n\n");
}

TEST_F(RunOfCase, tells_files_of_the_user_from_those_of_the_run) {
  put("old.lst", "a\n");
  put("trace.trc", "a\n");
  EXPECT_EQ(faults("say=a", "", "a\n"), "");
  put("expected.lst", "b\n");
  EXPECT_EQ(faults("write=old.lst:b|", "", ""), "");
}

TEST_F(RunOfCase, takes_no_other_kind_of_file_for_a_listing) {
  EXPECT_EQ(faults("say=a", "mkdir p.lst\nsymlink q.lst q.lst\nsymlink nowhere r.lst\n", "a\n"),
            "");
}

TEST_F(RunOfCase, follows_a_link_to_a_listing) {
  put("expected.lst", "a\n");
  EXPECT_EQ(faults("write=p.lst:a|", "symlink target p.lst\n", ""), "");
}

TEST_F(RunOfCase, masks_the_trace_by_columns) {
  put("trace.trc", "#filename, SimTime, Model\nold, 7, z\n");
  put("expected.trc",
      "#filename, SimTime, Model\nold, <t>, z\n#filename, SimTime, Model\nnew, <t>, z = 1, 2\n");
  EXPECT_EQ(faults("append=trace.trc:#filename, SimTime, Model|new, 0.5, z = 1, 2|", "", ""), "");
}

TEST_F(RunOfCase, compares_other_files_by_name) {
  put("expected.grps.txt", "<folder>\n");
  EXPECT_EQ(faults("write=grps.txt:<folder>|", "", ""), "");
  EXPECT_NE(faults("write=grps.txt:other|", "", ""), "");
  EXPECT_EQ(faults("", "", "no arguments\n"), "expected.grps.txt: the run wrote no such file\n");
}

// As a solver keeps what was written for it.
TEST_F(RunOfCase, masks_times_in_other_files) {
  put("expected.surrogate.mir", " maxtime: <t> ;\n");
  EXPECT_EQ(faults("write=surrogate.mir: maxtime: 12.5 ;|", "", ""), "");
  EXPECT_NE(faults("write=surrogate.mir: maxtime: none ;|", "", ""), "");
}

TEST_F(RunOfCase, runs_in_a_subfolder) {
  put("expected.lst", "a\n");
  EXPECT_EQ(faults("show-folder\nwrite=p.lst:a|", "mkdir sub\ncwd sub\n", "<folder>/sub\n"), "");
}

TEST_F(RunOfCase, has_the_environment_of_all_runs) {
  ASSERT_EQ(setenv("LC_ALL", "C", 1), 0);
  EXPECT_EQ(faults("show-environment=OPENBLAS_CORETYPE\nshow-environment=OPENBLAS_NUM_THREADS\n"
                   "show-environment=PATH\nshow-environment=LC_ALL\n",
                   "",
                   "OPENBLAS_CORETYPE=Prescott\nOPENBLAS_NUM_THREADS=1\n"
                   "PATH=/usr/bin:/bin\nLC_ALL is unset\n"),
            "");
  ASSERT_EQ(unsetenv("LC_ALL"), 0);
}

TEST_F(RunOfCase, changes_the_environment) {
  EXPECT_EQ(faults("show-environment=A\nshow-environment=PATH\nshow-environment=LC_ALL\n"
                   "show-environment=OPENBLAS_CORETYPE\n",
                   "env A=b\nenv PATH=<folder>/bin\nenv LC_ALL=\nenv OPENBLAS_CORETYPE\n",
                   "A=b\nPATH=<folder>/bin\nLC_ALL=\nOPENBLAS_CORETYPE is unset\n"),
            "");
}

// The values are those of libm without FMA; with it each of them differs in the last bit.
TEST_F(RunOfCase, has_the_same_last_bits_on_every_machine) {
  EXPECT_EQ(faults("show-mathematics", "",
                   "exp 0x1.ee16f66098e84p-27\nsin 0x1.8541f5a606188p-3\n"
                   "cos 0x1.0a520d6119d9p-2\npow 0x1.6beca1d6d3bd4p+20\n"),
            "");
}

TEST_F(RunOfCase, needs_status_0) {
  EXPECT_EQ(faults("leave=3", "", ""), "ended with status 3\n");
  EXPECT_EQ(faults("raise=15", "", ""), "ended by SIGTERM\n");
}

TEST_F(RunOfCase, reports_a_program_that_cannot_start) {
  put("expected.screen", "");
  const CaseReport report = run_case(file(""), "/no/such/program", Mode::compare);
  EXPECT_EQ(joined(report),
            "ended with status 127\n"
            "on standard error:\ncannot start /no/such/program: No such file or directory\n\n");
}

TEST_F(RunOfCase, kills_what_takes_too_long) {
  EXPECT_EQ(faults("say=a\nwait=30", "timeout 0.2\n", "a\n"), "killed after 0.2 s\n");
}

TEST_F(RunOfCase, kills_what_prints_without_end) {
  put("arguments", "print-forever");
  const CaseReport report = run();
  ASSERT_FALSE(report.faults.empty());
  EXPECT_EQ(report.faults[0], "killed after 67108864 bytes of output");
}

TEST_F(RunOfCase, does_not_wait_for_children_that_stay) {
  EXPECT_EQ(faults("leave-child=30\nsay=a", "timeout 10\n", "a\n"), "");
}

TEST_F(RunOfCase, sends_signals) {
  EXPECT_EQ(faults("say=a\nwait=30\nsay=b", "signal 0.2 SIGINT\nexpect-signal SIGINT\n", "a\n"),
            "");
  EXPECT_EQ(faults("wait=30", "signal 0.1 SIGHUP\n", ""), "ended by SIGHUP\n");
  EXPECT_EQ(faults("say=a", "expect-signal SIGINT\n", "a\n"),
            "ended with status 0, not by SIGINT\n");
}

TEST_F(RunOfCase, limits_memory) {
  put("arguments", "allocate=400");
  put("setup.txt", "limit-memory 300\n");
  put("expected.screen", "no memory\n");
  const CaseReport report = run();
  if (!report.skipped.empty()) GTEST_SKIP() << report.skipped;
  EXPECT_EQ(joined(report), "");
  EXPECT_EQ(faults("allocate=400", "", "allocated\n"), "");
}

TEST_F(RunOfCase, limits_files) {
  EXPECT_EQ(faults("fill=200", "limit-file 100\n", "file too large\n"), "");
  EXPECT_EQ(faults("fill=50", "limit-file 100\n", "filled\n"), "");
}

TEST_F(RunOfCase, gives_meaning_to_permissions) {
  put("closed", "a\n");
  EXPECT_EQ(faults("can-read=closed", "chmod 000 closed\nas-nobody\n", "closed cannot be read\n"),
            "");
  const std::string user = std::to_string(geteuid() == 0 ? 65534 : geteuid());
  EXPECT_EQ(faults("show-user\nwrite=a:b\nshow-file=a", "as-nobody\n", "user " + user + "\nb"), "");
}

TEST_F(RunOfCase, runs_twice_in_the_same_folder) {
  EXPECT_EQ(faults("append=a:x\nshow-file=a", "runs 2\n", "xxx"), "");
}

TEST_F(RunOfCase, checks_what_must_be_there) {
  EXPECT_EQ(faults("write=a:b", "expect-present a\nexpect-absent b\n", ""), "");
  EXPECT_EQ(faults("write=a:b", "expect-present b\nexpect-absent a\n", ""),
            "a is still there\nb is not there\n");
}

TEST_F(RunOfCase, checks_what_must_be_the_same) {
  put("a", "x");
  EXPECT_EQ(faults("write=a:x", "expect-same a\n", ""), "");
  EXPECT_EQ(faults("say=a", "symlink a b\nexpect-same b\n", "a\n"), "");
  EXPECT_EQ(faults("remove=b\nwrite=b:x", "symlink a b\nexpect-same b\n", ""),
            "b is not what it was before the run\n");
  EXPECT_EQ(faults("write=a:y", "expect-same a\n", ""), "a is not what it was before the run\n");
  EXPECT_EQ(faults("remove=a", "expect-same a\n", ""), "a is not what it was before the run\n");
  EXPECT_THROW(faults("say=a", "expect-same c\n", ""), std::runtime_error);
}

TEST_F(RunOfCase, leaves_no_folder_behind) {
  const TemporaryFolder place;
  ASSERT_EQ(setenv("TMPDIR", place.path().c_str(), 1), 0);
  EXPECT_EQ(faults("show-folder", "mkdir d\ntouch d/f\nchmod 000 d\n", "<folder>\n"), "");
  EXPECT_NE(faults("leave=1", "", ""), "");
  EXPECT_THROW(faults("say=a", "no verb\n", ""), std::runtime_error);
  ASSERT_EQ(unsetenv("TMPDIR"), 0);
  EXPECT_TRUE(fs::is_empty(place.path()));
}

TEST_F(RunOfCase, updates_the_expected_files) {
  put("arguments", "say=Total execution time 1 s\nwrite=p.lst:<folder>|");
  put("expected.trc", "old\n");
  const CaseReport report = run(Mode::update);
  EXPECT_EQ(joined(report), "");
  EXPECT_EQ(report.skipped, "the expected files were written");
  EXPECT_EQ(read_file(file("expected.screen")), "Total execution time <t> s\n");
  EXPECT_EQ(read_file(file("expected.lst")), "<folder>\n");
  EXPECT_FALSE(fs::exists(file("expected.trc")));
  EXPECT_EQ(joined(run()), "");
}

TEST_F(RunOfCase, updates_nothing_after_a_fault) {
  put("arguments", "say=a\nleave=1");
  EXPECT_EQ(joined(run(Mode::update)), "ended with status 1\n");
  EXPECT_FALSE(fs::exists(file("expected.screen")));
}

}  // namespace
}  // namespace torve::test
