#pragma once

// Something that happens at most once in a process: with -r a step unregisters before it registers,
// also when it is reached again.
class Once {
  public:
    // True for the first call only.
    bool first() {
        const bool isFirst = !done_;
        done_ = true;
        return isFirst;
    }

  private:
    bool done_ = false;
};
