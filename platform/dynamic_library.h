// Loading shared objects at run time: the plug-ins and the log sink.
#ifndef SARVIK_PLATFORM_DYNAMIC_LIBRARY_H
#define SARVIK_PLATFORM_DYNAMIC_LIBRARY_H

namespace sarvik {

// Loads a shared object with all its symbols resolved at once and kept
// private to it, so that two plug-ins never bind to each other's symbols. A
// path with a '/' is used as given; a bare file name goes through the dynamic
// loader's own search. Returns an opaque handle, or null (also for a null
// path). Loading runs the object's static initialisers.
void* loadLibrary(const char* path);

// The address of an exported symbol, or null if the handle or name is null or
// the symbol is missing.
void* findSymbol(void* library, const char* name);

// Drops one reference taken by loadLibrary(); null is ignored. No pointer
// obtained through findSymbol() may be used afterwards.
void freeLibrary(void* library);

}  // namespace sarvik

#endif  // SARVIK_PLATFORM_DYNAMIC_LIBRARY_H
