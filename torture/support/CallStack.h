#ifndef CALLSTACK_H
#define CALLSTACK_H

/// Where a call comes from, told without allocating anything.
namespace CallStack {

constexpr int Depth = 24;

/// The return addresses, innermost first; returns how many.
int take(void **addresses, int most);

enum class Origin {
    Elsewhere,
    Library,
    LeftOut, ///< the library too, but inside what of Qt does not survive a failure
};

/// What the code is that \a returnAddress leads back to, as FailingCalls counts it.
Origin originOf(const void *returnAddress);

/// Whether code of the library is among them.
bool hasLibrary(void *const *addresses, int count);

/// Whether what is allocated there is kept for later: a list of Qt's event loop grows, whose events
/// and timers are made before, or a thread gets its stack, which the C library uses again.
bool isKept(void *const *addresses, int count);

/// Looks up where the library and the program lie. Call it before `originOf`.
void findModules();

/// To standard error, by symbols and offsets.
void print(void *const *addresses, int count);

} // namespace CallStack

#endif
