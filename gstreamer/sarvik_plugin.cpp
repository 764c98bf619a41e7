// The GStreamer plug-in "sarvik": registers the sarviksrc element.
#include <gst/gst.h>

#include "sarvik_src.h"

#ifndef PACKAGE
#define PACKAGE "sarvik"
#endif

static gboolean pluginInit(GstPlugin* plugin) {
  return gst_element_register(plugin, "sarviksrc", GST_RANK_NONE, GST_TYPE_SARVIK_SRC);
}

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, sarvik, "Streams of Sarvik depth cameras", pluginInit,
                  SARVIK_GST_VERSION, "Proprietary", "sarvik", "https://example.invalid/sarvik")
