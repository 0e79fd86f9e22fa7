// bench_files.h - reading a corpus file whole, named by its last path part.
#pragma once

#include <fstream>
#include <iterator>
#include <string>

inline bool read_corpus_file(const std::string& path, std::string* name, std::string* bytes) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  bytes->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  size_t slash = path.find_last_of('/');
  *name = slash == std::string::npos ? path : path.substr(slash + 1);
  return true;
}
