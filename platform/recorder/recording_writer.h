// What adds records to the newest file of a recording.
#pragma once

#include <memory>
#include <string>

#include "file_series.h"
#include "record_format.h"

struct vela_recorder {
  public:
    /** @param options  complete and in range */
    vela_recorder(std::string path, const vela_recorder_options &options)
        : path_(std::move(path)),
          options_(options),
          allowed_(base::allowed_by(options.allow_other_users, options.allow_links)) {}

    /** Opens or creates FILE; `why.text` without a code is a warning. */
    bool open(vela::recorder::failure &why);
    /** Returns 0 or an error word. */
    u_int32 append(const vela::recorder::record_head &head, vela::recorder::octets bytes);
    /** Counts a record that is not written. Returns its error word. */
    u_int32 refuse(u_int32 code);
    vela_recorder_statistics statistics() const;

  private:
    bool open_locked(vela::recorder::failure &why);
    bool open_file(vela::recorder::failure &why);
    int begin_new_file();
    bool find_end(bool &is_damaged, vela::recorder::failure &why);
    u_int32 make_room(u_int64 wanted);
    u_int32 write(const vela::recorder::record_head &head, vela::recorder::octets bytes);
    void take_back();

    std::string path_;
    vela_recorder_options options_;
    unsigned allowed_;  // of files that are there, as base/guarded_file.h says it
    base::file_descriptor file_;
    u_int64 size_ = 0;        // of what stands whole in the file
    bool is_untidy_ = false;  // a part of a record stands behind that
    vela_recorder_statistics statistics_{};
};
