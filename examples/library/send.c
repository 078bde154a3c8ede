/* Sends one message from C, prints its progress, and says what became of it.
 *   send_c NUMBER TEXT
 * Exit code: as of `mvsms send`, 0 when the message was accepted. */
#include <mvsms/mvsms.h>
#include <stdio.h>

static void print_line(void* context, const char* line) {
  (void)context;
  printf("%s\n", line);
}

static void print_error(void* context, int32_t number, const char* description,
                        const char* source) {
  (void)context;
  fprintf(stderr, "error %ld: %s (%s)\n", (long)number, description, source);
}

int main(int count, char** words) {
  mvsms_sender* sender;
  mvsms_result result;
  if (count != 3) {
    fprintf(stderr, "usage: %s NUMBER TEXT\n", words[0]);
    return MVSMS_MISUSE;
  }
  sender = mvsms_new("", "");             /* the settings of the command, the profile "Standard" */
  if (sender == NULL) return MVSMS_RETRY; /* no memory */
  mvsms_on_status(sender, print_line, NULL);
  mvsms_on_error(sender, print_error, NULL);
  result = mvsms_send(sender, words[1], "", words[2], "");
  if (result == MVSMS_MISUSE) fprintf(stderr, "%s\n", mvsms_error(sender));
  mvsms_free(sender);
  return (int)result;
}
