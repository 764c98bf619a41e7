// sarviksrc: a live push source with one stream of an SDK camera.
//
// Properties: device (address, serial or index; empty: the only camera, or
// the first listed), stream (color, depth, ir, lightir), mode (index, WxH or
// WxH@fps; empty: negotiated, the camera's current mode preferred),
// eos-on-unplug, max-wrapped, and the read-only counters wrapped and copies.
#ifndef SARVIK_GST_SARVIK_SRC_H
#define SARVIK_GST_SARVIK_SRC_H

#include <gst/base/gstpushsrc.h>
#include <gst/gst.h>

G_BEGIN_DECLS

#define GST_TYPE_SARVIK_SRC (gst_sarvik_src_get_type())
G_DECLARE_FINAL_TYPE(GstSarvikSrc, gst_sarvik_src, GST, SARVIK_SRC, GstPushSrc)

G_END_DECLS

#endif  // SARVIK_GST_SARVIK_SRC_H
