// SPDX-License-Identifier: Apache-2.0
// As an application of libuv runs a command: uv_spawn, and a pipe that the loop reads.
#include <uv.h>

#include <cstdint>
#include <cstdlib>

#include "bench/spawn/Commands.h"

namespace {

struct Run {
  uv_loop_t loop{};
  uv_process_t process{};
  uv_pipe_t pipe{};
  std::array<char, 65536> buffer{};
  std::size_t bytes = 0;
};

Run& theRun() {
  static Run run;
  return run;
}

void closeHandle(uv_handle_t* handle) {
  if (uv_is_closing(handle) == 0) uv_close(handle, nullptr);
}

void onRead(uv_stream_t* stream, ssize_t length, const uv_buf_t*) {
  if (length > 0) theRun().bytes += static_cast<std::size_t>(length);
  if (length < 0) closeHandle(reinterpret_cast<uv_handle_t*>(stream));
}

void onEnd(uv_process_t* process, std::int64_t, int) { closeHandle(reinterpret_cast<uv_handle_t*>(process)); }

void provideBuffer(uv_handle_t*, std::size_t, uv_buf_t* buffer) {
  *buffer = uv_buf_init(theRun().buffer.data(), static_cast<unsigned>(theRun().buffer.size()));
}

}  // namespace

std::size_t runWithLibuv(Arguments arguments) {
  Run& run = theRun();
  static const int prepared = uv_loop_init(&run.loop);
  if (prepared != 0) std::abort();
  run.bytes = 0;
  uv_pipe_init(&run.loop, &run.pipe, 0);
  std::array<uv_stdio_container_t, 2> streams{};
  streams[0].flags = UV_IGNORE;
  streams[1].flags = static_cast<uv_stdio_flags>(UV_CREATE_PIPE | UV_WRITABLE_PIPE);
  streams[1].data.stream = reinterpret_cast<uv_stream_t*>(&run.pipe);
  uv_process_options_t options{};
  options.file = arguments[0];
  options.args = const_cast<char**>(arguments);
  options.exit_cb = onEnd;
  options.flags = UV_PROCESS_DETACHED;  // a process group of its own, as the runner makes one
  options.stdio = streams.data();
  options.stdio_count = static_cast<int>(streams.size());
  if (uv_spawn(&run.loop, &run.process, &options) != 0) std::abort();
  uv_read_start(reinterpret_cast<uv_stream_t*>(&run.pipe), provideBuffer, onRead);
  uv_run(&run.loop, UV_RUN_DEFAULT);
  return run.bytes;
}
