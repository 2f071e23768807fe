#pragma once

namespace zumra::check {

/// A forked check that ends its process with status 0 by other means than coming to its end (`_exit(0)`)
/// would count as passed. A word shared between runner and check says whether the check is in the middle of
/// its body; the runner looks at it when the process is gone (see `__wrap_waitpid`).

/// In the runner's process, before a check is forked; without it the following do nothing.
void PrepareForkedExit();

void NoteForkedCheckBegins();
void NoteForkedCheckEnds();

}  // namespace zumra::check
