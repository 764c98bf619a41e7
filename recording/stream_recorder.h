// Placeholder until the recorder lands: the context only needs the type.
#ifndef SARVIK_RECORDING_STREAM_RECORDER_H
#define SARVIK_RECORDING_STREAM_RECORDER_H

namespace sarvik {

class StreamRecorder {
 public:
  virtual ~StreamRecorder() = default;
};

}  // namespace sarvik

#endif  // SARVIK_RECORDING_STREAM_RECORDER_H
