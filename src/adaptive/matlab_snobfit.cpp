#include <array>
#include <cmath>
#include <optional>

#include "adaptive/point_source.h"
#include "data/simulator_files.h"
#include "system/command.h"
#include "system/files.h"
#include "system/text_file.h"
#include "text/number_edits.h"
#include "text/strings.h"

namespace torve {

namespace {

constexpr const char* program_name = "trvems.m";
constexpr const char* input_name = "ems.in";
constexpr const char* output_name = "ems.out";
constexpr const char* command =
    "matlab -nojvm -nodisplay -nosplash -r \"run('trvems.m');quit\" > temp";

// Reads ems.in, asks SNOBFIT for points and writes them to ems.out.
constexpr std::array matlab_program{
    "function trvEMS",
    "filename = 'ems.in'; outputfilename = 'ems.out';",
    "addpath(genpath(pwd));fid=fopen(filename);",
    "ndata=str2double(strtrim(fgetl(fid)));",
    "ninputs=str2double(strtrim(fgetl(fid)));",
    "xmin=readVector(strtrim(fgetl(fid)));",
    "xmax=readVector(strtrim(fgetl(fid)));",
    "snobfitinit=str2double(strtrim(fgetl(fid)));",
    "snobfitfile=strtrim(fgetl(fid));",
    "snobfitres=str2double(strtrim(fgetl(fid)));",
    "snobfitnreq=str2double(strtrim(fgetl(fid)));",
    "snobfitp=str2double(strtrim(fgetl(fid)));",
    "snobfitpath = strtrim(fgetl(fid));",
    "minqpath = strtrim(fgetl(fid));",
    "for i=1:ndata",
    "  temp=readVector(strtrim(fgetl(fid)));",
    "  x(i,:)=temp(1:ninputs);",
    "  obj(i,1)=-temp(ninputs+1);",
    "  obj(i,2)=snobfitres;",
    "end",
    "fclose(fid);",
    "dx = (xmax-xmin)'*snobfitres;",
    "paramSNOBFIT = struct('bounds',{xmin,xmax},'nreq',snobfitnreq,'p',snobfitp);",
    "if snobfitinit == 1",
    "  addpath(genpath(snobfitpath));",
    "  addpath(genpath(minqpath));",
    "  [xReq,~,~] = snobfit(snobfitfile,x,obj,paramSNOBFIT,dx);",
    "else",
    "  [xReq,~,~] = snobfit(snobfitfile,x,obj,paramSNOBFIT);",
    "end",
    "fid=fopen(outputfilename,'w');",
    "fprintf(fid,'%d\\n',size(xReq,1));",
    "for i=1:size(xReq,1)",
    "  fprintf(fid,'%f ',xReq(i,1:ninputs-1));",
    "  fprintf(fid,'%f\\n',xReq(i,ninputs));",
    "end",
    "fclose(fid);",
    "end",
    "function v=readVector(str)",
    "temp=regexp(str,'[ ]*','split');",
    "v=str2double(temp(:))';",
    "end"};

std::string joined(std::span<const double> values) {
  std::string text;
  for (const double value : values) text += (text.empty() ? "" : " ") + free_form(value);
  return text;
}

bool write_program() {
  TextFile file;
  if (!file.open_replace(program_name)) return false;
  for (const char* const line : matlab_program) file.line(line);
  return file.close();
}

// The inputs of a row in the user's units and its summed error, whose sign the program turns.
std::string data_line(const RunState& run, int row) {
  std::vector<double> values;
  values.reserve(at(run.sizes.ninputs) + 1);
  for (int j = 0; j < run.sizes.ninputs; ++j) {
    values.push_back(run.points.xdata(row, j) * run.inputs.xscale[at(j)]);
  }
  values.push_back(summed_error(run, row));
  return joined(values);
}

bool write_input(const RunState& run, const Request& request, int nreq) {
  const Options& options = run.options;
  const std::size_t n = at(run.sizes.ninputs);
  TextFile file;
  if (!file.open_replace(input_name)) return false;
  file.line(free_form(request.last));
  file.line(free_form(run.sizes.ninputs));
  file.line(joined(run.inputs.xmin.first(n)));
  file.line(joined(run.inputs.xmax.first(n)));
  file.line(request.last == run.sizes.ndata ? "1" : "0");
  file.line(trim(options.snobfittest));
  file.line(free_form(options.snobfitresolution));
  file.line(free_form(nreq));
  file.line(free_form(options.snobfitp));
  file.line(trim(options.snobfitpath));
  file.line(trim(options.minqpath));
  for (int i = 0; i < request.last; ++i) file.line(data_line(run, i));
  return file.close();
}

bool run_matlab(RunState& run) {
  // What an earlier request left must not pass for the answer to this one.
  remove_file(output_name);
  const CommandResult result = run_command(command, run.options.maxtime - elapsed(run));
  run.timers.clock.add_waiting(result.seconds);
  if (result.end == CommandEnd::exited && result.status == 0) return true;
  const bool cut_short =
      result.end == CommandEnd::timed_out || result.end == CommandEnd::interrupted;
  return cut_short ? !end_for_time(run) : fail(run, Code::snobfit_failed, 60);
}

// The count that heads the answer, as far as the pass has rows for it; 0 when there is none.
int announced_count(RecordReader& reader, int most) {
  double count = 0.0;
  if (reader.next({&count, 1}) != RecordReader::Outcome::read || !(count >= 1.0)) return 0;
  return static_cast<int>(std::min(count, static_cast<double>(most)));
}

// False when a point that was announced can't be read.
bool read_points(RunState& run, RecordReader& reader, int first, int count) {
  std::vector<double> point(at(run.sizes.ninputs));
  for (int row = first; row < first + count; ++row) {
    if (reader.next(point) != RecordReader::Outcome::read) return false;
    place_point(run, row, point);
  }
  return true;
}

void take_answer(RunState& run, Request& request) {
  request.nreqlast = request.last;
  const std::optional<std::string> text = read_file(output_name);
  if (!text) {
    tell_snobfit_failure(run);
    return;
  }
  RecordReader reader(*text);
  const int count = announced_count(reader, request.maxrow - request.last);
  if (count == 0 || !read_points(run, reader, request.last, count)) {
    tell_snobfit_failure(run);
    place_random_points(run, request.last, count);
  }
  request.nreqlast = request.last + count;
}

void ask_matlab(RunState& run, Request& request) {
  if (!write_program() || !write_input(run, request, points_to_request(run, request))) {
    fail(run, Code::snobfit_failed, 61);
    return;
  }
  if (run_matlab(run)) take_answer(run, request);
}

}  // namespace

void matlabsnobfit(RunState& run, Request& request) {
  const bool scratch = run.options.usescratch;
  if (scratch && !enter_folder(run.files.scratch)) {
    fail(run, Code::cannot_enter_scratch, 59);
    return;
  }
  ask_matlab(run, request);
  if (scratch && !enter_folder(run.files.execdir) && !failed(run)) {
    fail(run, Code::cannot_enter_execution_folder, 62);
  }
}

}  // namespace torve
