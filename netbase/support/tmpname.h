// Temporary file names.
#pragma once

/// Picks a name "/tmp/.ka_%u" that no file has yet, from successive values of rand(). `buf` must
/// hold 20 bytes. Returns `buf`, or null when it is null. The file is not created.
char* ka_get_tmpnam(char* buf);
