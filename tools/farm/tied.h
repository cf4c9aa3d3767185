// Tied: a command that ends with the process that started it, even if that is killed.

#pragma once

namespace farm {

/// Becomes the command `arguments`, a list that ends with null. `pcfarm tied -- COMMAND...` is for
/// the tasks alone. Answers the exit status if that fails, after saying why.
int RunTied(char** arguments);

/// Asks the system for `signal` as soon as the thread that started this process ends.
void TieToParent(int signal);

}  // namespace farm
