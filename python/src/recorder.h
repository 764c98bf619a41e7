// A recording of started streams to one record file.
#ifndef SARVIK_PYTHON_RECORDER_H
#define SARVIK_PYTHON_RECORDER_H

#include <pybind11/pybind11.h>

#include <memory>
#include <string>

#include "context_core.h"

namespace sarvik_py {

class Recorder {
 public:
  // Creates the file, attaches every stream of `streams` and starts writing.
  Recorder(pybind11::object context, std::shared_ptr<ContextCore> core, const std::string& path,
           pybind11::list streams);
  ~Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  void stop();   // stops writing; the file is complete
  void close();  // stops and destroys the recorder
  bool closed() const { return m_handle == nullptr; }
  const std::string& path() const { return m_path; }

 private:
  pybind11::object m_context;
  std::shared_ptr<ContextCore> m_core;
  sarvik::StreamRecorder* m_handle = nullptr;
  std::string m_path;
  bool m_started = false;
};

void bindRecorder(pybind11::module_& m);

}  // namespace sarvik_py

#endif  // SARVIK_PYTHON_RECORDER_H
