// The committed corpus is text, `corpus/TARGET.txt`: one input a line, in lower-case hex and in that order, each once.
// A line may begin with a name for its input; one that begins with # is a comment.
#pragma once

#include <filesystem>

namespace fuzz {

// Makes a file of every line, in a folder of the text's own below this one: as the line is named, else line_0001. What
// is no such line ends the process and is named with the text and its place there.
void unpack_corpus(const std::filesystem::path& text, const std::filesystem::path& below);

}  // namespace fuzz
