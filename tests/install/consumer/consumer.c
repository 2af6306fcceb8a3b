/* Calls the installed library: a queue-manager name check and a topic escape
 * whose buffer goes back through the platform's allocator. */
#include <stdio.h>
#include <string.h>

#include "zxvxcs2/xcs_memory.h"
#include "zxvxzu/names.h"
#include "zxvxzu/topic.h"

static int check_qm(const char* name, KWLONG want_reason) {
  char field[KW_Q_MGR_NAME_LENGTH];
  KWLONG cc = -1;
  KWLONG reason = -1;
  zutCvtKWNameFromStr(name, field, sizeof field);
  zutCheckQMName(field, &cc, &reason);
  if (reason != want_reason) {
    fprintf(stderr, "consumer: zutCheckQMName(%s) gave reason %d, expected %d\n", name, (int)reason,
            (int)want_reason);
    return 1;
  }
  return 0;
}

int main(void) {
  int failures = check_qm("QM1", KWRC_NONE) + check_qm("QM-1", KWRC_Q_MGR_NAME_ERROR);

  KWULONG out_length = 0;
  KWULONG allocated = 0;
  char* out = NULL;
  KWLONG cc = 0;
  KWLONG reason = 0;
  zutEscapeTopicString(ZUT_TOPIC_ESCAPED, 3, "a*b", &out_length, &out, &allocated, &cc, &reason);
  if (cc != KWCC_OK || allocated != 1 || out_length != 4 || memcmp(out, "a%*b", 4) != 0) {
    fprintf(stderr, "consumer: zutEscapeTopicString gave an unexpected result\n");
    ++failures;
  }
  if (allocated) xcsFreeMemFn(out);

  if (failures == 0) printf("consumer: ok\n");
  return failures == 0 ? 0 : 1;
}
