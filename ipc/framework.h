// Functions of frameworks: code that is looked up while the program runs, because it need not be installed.
// Safe from any thread.

#ifndef IPC_FRAMEWORK_H
#define IPC_FRAMEWORK_H

// The address of the function `name` in the framework at an absolute path; null when there is no such
// framework, it does not load, or it has no such function. A folder "NAME.framework" holds its code in the
// file NAME, any other path is that of the code. Paths are looked for below CORVANE_ROOT when that is set
// (xp/service/system_root.h). What has been loaded stays in the process, so addresses stay good.
void *GetFunctionFromFramework(const char *path, const char *name);

#endif
