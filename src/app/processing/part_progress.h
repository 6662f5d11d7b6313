// The progress of one step among several.
#pragma once

#include <algorithm>

#include "base/user_interface.h"

namespace velor {

// Shows a step's 0..1 as `from` to `to` of the whole; everything else goes on as it comes.
class PartProgress final : public UserInterface {
  public:
    PartProgress(UserInterface& whole, double from, double to) : whole_(whole), from_(from), to_(to) {}

    std::size_t ask(const Question& question) override { return whole_.ask(question); }
    void status(std::string_view text) override { whole_.status(text); }
    void progress(double share) override {
        whole_.progress(from_ + (to_ - from_) * std::clamp(share, 0.0, 1.0));
    }
    bool aborted() override { return whole_.aborted(); }
    void warn(const Warning& warning) override { whole_.warn(warning); }
    void report(std::string_view text) override { whole_.report(text); }

  private:
    UserInterface& whole_;
    double from_;
    double to_;
};

}  // namespace velor
