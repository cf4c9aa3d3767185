// Tied: a command that ends with the process that started it, even if that is killed.

#pragma once

namespace farm {

/// Becomes the command `arguments`, a list that ends with null, unless `parent` has ended.
/// `pcfarm tied PARENT COMMAND...` is for the tasks alone. Answers the exit status if that fails,
/// after saying why.
int RunTied(const char* parent, char** arguments);

/// Asks the system for `signal` as soon as the thread that started this process ends, which was one
/// of process `parent`. That must be told: in a container it may be process 1, which is otherwise
/// the one that takes over those whose parents have ended.
void TieToParent(int parent, int signal);

}  // namespace farm
