#pragma once

#include <string_view>

namespace torve {

struct RunState;

// The one printer of the program. Texts are complete lines without their line end.

// To the screen when print_to_screen holds, and to the listing when it is open.
void trvprint(RunState& run, std::string_view text);

// To the listing alone, when it is open.
void print_to_listing(RunState& run, std::string_view text);

// To the screen alone, whatever the options say: what is found while the problem file is read. A
// blank leads the line.
void print_to_console(RunState& run, std::string_view text);

// To the screen alone, as it stands.
void print_on_screen(std::string_view text);

// Whether print_to_screen holds is known only when the problem file has been read: until then lines
// for the screen wait. They come out ahead of the first line that can't wait, or not at all when
// the file has switched the screen off.
void hold_screen(RunState& run);
void release_screen(RunState& run);

}  // namespace torve
