/* Reads lines of an operation and a code; writes the text of each. An operation "-" is a null pointer, "."
 * an empty name. */
#include <stdio.h>
#include <string.h>
#include <tabfit/status.h>

int main(void) {
  char operation[64];
  int code;
  while (scanf("%63s %d", operation, &code) == 2) {
    const char* name = strcmp(operation, "-") == 0   ? NULL
                       : strcmp(operation, ".") == 0 ? ""
                                                     : operation;
    puts(tabfit_status_text(name, code));
  }
  return 0;
}
