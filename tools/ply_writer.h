// Point clouds as binary little-endian PLY files, readable by the usual
// viewers. A point with all three coordinates 0.0 marks a pixel without
// depth; it is left out, so the file holds only real points.
#ifndef SARVIK_TOOLS_PLY_WRITER_H
#define SARVIK_TOOLS_PLY_WRITER_H

#include <cstddef>
#include <ostream>
#include <string>

#include "sarvik/SarvikTypes.h"

namespace sarvik {
namespace tools {

bool isZeroPoint(const typedefSarvikPoint3D& point);
size_t countRealPoints(const typedefSarvikPoint3D* points, size_t count);

// Writes the header and every real point of `points[0, count)`. With
// `colours` (one per point, components 0.0 to 1.0) each vertex also carries
// red, green and blue as bytes. Returns the number of vertices written, or
// -1 if the stream failed.
long long writePly(std::ostream& out, const typedefSarvikPoint3D* points, const typedefSarvikRGBA* colours,
                   size_t count);

}  // namespace tools
}  // namespace sarvik

#endif  // SARVIK_TOOLS_PLY_WRITER_H
