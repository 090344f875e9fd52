// Paths of files and folders.
#pragma once

#include <string>

// The path with "." and ".." resolved and short names expanded; a path that does not exist keeps its canonical form.
// One that is too long for the platform (1024 characters at most) gives an empty text.
std::wstring CanonicalizePath(const std::wstring& path);

// The folder above the one that holds the file of this absolute path; a root stays what it is.
std::wstring TwoStepsUp(const std::wstring& path);

// The folder of this name below the temporary folder of the user, whether or not it is there; no backslash at the end.
// Empty when it would be longer than MAX_PATH.
std::wstring TemporarySubfolder(const wchar_t* name);

// Non-zero when path is in directory, compared by whole components and without regard to case. A path that is too
// long is in no directory and contains nothing.
int IsPathUnderDirectory(const std::wstring& directory, const std::wstring& path);

// The same for two texts that CanonicalizePath has given, for callers that compare one of them with many.
int IsCanonicalPathUnder(const std::wstring& directory, const std::wstring& path);
