// Tells whether a file is a transport plug-in without loading it.
#ifndef SARVIK_PLATFORM_DRIVER_PROBE_H
#define SARVIK_PLATFORM_DRIVER_PROBE_H

namespace sarvik {

// True only for a readable regular file that is an ELF shared object of this
// module's own class and machine, and whose dynamic symbol table defines a
// global or weak, visible `driverInstance`. The file is only read: never
// mapped, loaded or run, so a broken or hostile candidate can do no harm here.
// Every offset and size in it is checked against the file's length; anything
// that does not add up gives false. Safe to call from any thread.
//
// The dynamic symbols are found through the section headers. A file stripped
// of those is still loadable but fails the probe, and the caller then falls
// back to the loader's search by bare name.
bool probeDriverFile(const char* path);

}  // namespace sarvik

#endif  // SARVIK_PLATFORM_DRIVER_PROBE_H
