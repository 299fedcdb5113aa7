// A test that is a row of runs, and a file that shows what each run says and changes, beside it:
// tests/program/transcripts/<test>.txt. docs/testing.md has how to read and to change them.
#pragma once

#include <regex>
#include <string>
#include <vector>

#include "tests/program/machine.h"

// The copies have a message library without texts, so that a line is the same in each language: the
// name of the message and its arguments.
class Transcript : public Machine {
  protected:
    Transcript();
    void TearDown() override;  // compares with the file

    // Of what the runs say and change, only the lines that match are shown, in words: "the
    // messages".
    void show(const std::string& words, const std::string& pattern);
    // Says what else a machine has; what was changed in its registry is shown as it is found.
    void has(const std::string& what);
    // Removes all copies, and shows what there is before the next run, not what changed.
    void startOver();
    // Lays a copy with such a message library, and says what else is in its bin folder.
    void lay(const std::string& to, const std::vector<std::string>& more = {});
    // Runs the program, or a command line that begins with a path.
    void zelkpmreg(const std::string& arguments, const Start& start = {});

    const std::string driver = driverOf(folder);

  private:
    void add(const std::string& prefix, const std::string& lines, bool always = false);
    void addChanges(const Registry& from, const Registry& to, const std::string& lost,
                    const std::string& gained, bool always);
    std::string inGeneral(std::string lines) const;

    Registry last_;  // as the last run left it
    std::string words_;
    std::regex shown_;
    bool whole_ = true;  // or a driver is one line
    std::string text_;
};
