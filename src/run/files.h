#pragma once

#include <array>
#include <set>
#include <string>
#include <vector>

#include "system/text_file.h"

namespace torve {

inline constexpr char separator = '/';

// The roles of files; a caller may find the number of each by its name.
inline constexpr int iu_trc = 11;
inline constexpr int iu_m = 12;
inline constexpr int iu_in = 21;
inline constexpr int iu_out = 31;
inline constexpr int iu_grps = 32;
inline constexpr int iu_gms = 41;
inline constexpr int iu_mir = 41;  // never open together with iu_gms
inline constexpr int iu_res = 51;
inline constexpr int iu_sin = 61;
inline constexpr int iu_sout = 71;
inline constexpr int iu_emsin = 81;
inline constexpr int iu_emsout = 91;

// Names and open files of a run. A blank name means that nothing was given.
struct Files {
  std::string fname;                    // problem file
  std::string outfname;                 // listing
  std::string scratchin;                // scratch folder as given or derived
  std::string scratch = "trvscr";       // scratch folder in use
  std::string execdir;                  // current folder at the start
  std::string grpsfile;                 // group echo in the scratch folder
  std::string mirakpath = "mirak";      // solver program
  std::string mirakfile;                // base name of the solver's work files
  bool scratchmade = false;             // this run made the scratch folder
  std::set<std::string> exchangefiles;  // of a simulator, outside the scratch folder
  // The numbers of the roles, in the order of the list above; kept for callers and no more.
  std::array<int, 12> units{iu_trc, iu_m,   iu_in,  iu_out,  iu_grps,  iu_gms,
                            iu_mir, iu_res, iu_sin, iu_sout, iu_emsin, iu_emsout};
  bool holding = false;           // lines for the screen wait for print_to_screen
  std::vector<std::string> held;  // those lines
  TextFile listing;
  TextFile tracefile;
};

}  // namespace torve
