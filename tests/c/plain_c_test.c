/* The library called from plain C: name fields and checks, one-byte return
 * codes, topic escaping, literalizing and validation. Prints each failed
 * check and exits 1 if there was one. */
#include <stdio.h>
#include <string.h>

#include "zxvxcs2/xcs_memory.h"
#include "zxvxzu/names.h"
#include "zxvxzu/topic.h"

static int failures = 0;

#define CHECK(cond)                                                            \
  do {                                                                         \
    if (!(cond)) {                                                             \
      fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
      ++failures;                                                              \
    }                                                                          \
  } while (0)

static void test_fields(void) {
  char field[KW_Q_MGR_NAME_LENGTH];
  char out[KW_Q_MGR_NAME_LENGTH + 1];
  char user[KW_USER_ID_LENGTH + 1];
  size_t i;

  zutCvtKWNameFromStr("QM1", field, sizeof field);
  CHECK(memcmp(field, "QM1", 3) == 0);
  for (i = 3; i < sizeof field; ++i) CHECK(field[i] == ' ');
  zutCvtKWName2Str(field, out, sizeof field);
  CHECK(strcmp(out, "QM1") == 0);
  CHECK(zutGetLengthNoBlanks(field, sizeof field) == 3);
  CHECK(zutIsItBlank(field) == 0);
  CHECK(zutIsItBlank("") == 1);

  zutCvtKWUser2Str("ab cd       ", user, KW_USER_ID_LENGTH);
  CHECK(strcmp(user, "ab cd") == 0);
  zutCvtKWUser2Str("            ", user, KW_USER_ID_LENGTH);
  CHECK(strcmp(user, " ") == 0);
}

static ZXVRC check_object(const char* name, KWLONG options, KWLONG* asterisk) {
  char field[KW_OBJECT_NAME_LENGTH];
  zutCvtKWNameFromStr(name, field, sizeof field);
  return zutCheckValidName(field, options, asterisk);
}

static void test_checks(void) {
  char field[KW_Q_MGR_NAME_LENGTH];
  char inst[KW_INSTALLATION_NAME_LENGTH];
  KWLONG cc = -1;
  KWLONG reason = -1;
  KWLONG asterisk = -5;

  CHECK(check_object("A.B/C%_1", 0, NULL) == ZXVRC_OK);
  CHECK(check_object("A-B", 0, NULL) == ZXVRC_INVALID_NAME);
  CHECK(check_object("A-B", ZUT_NAME_ALLOW_HYPHEN, NULL) == ZXVRC_OK);
  CHECK(check_object("AB*", ZUT_NAME_ALLOW_GENERIC, &asterisk) == ZXVRC_OK);
  CHECK(asterisk == 2);
  CHECK(check_object("AB", ZUT_NAME_ALLOW_GENERIC, &asterisk) == ZXVRC_OK);
  CHECK(asterisk == -1);

  zutCvtKWNameFromStr("QM-1", field, sizeof field);
  CHECK(zutCheckQMName(field, &cc, &reason) == KWCC_FAILED);
  CHECK(cc == KWCC_FAILED && reason == KWRC_Q_MGR_NAME_ERROR);
  zutCvtKWNameFromStr("QM1", field, sizeof field);
  CHECK(zutCheckQMName(field, &cc, &reason) == KWCC_OK);
  CHECK(cc == KWCC_OK && reason == KWRC_NONE);

  zutCvtKWNameFromStr("Inst1", inst, sizeof inst);
  CHECK(zutCheckValidInstallationName(inst) == ZXVRC_OK);
  zutCvtKWNameFromStr("A.**.B", field, sizeof field);
  CHECK(zutCheckValidProfile(field) == ZXVRC_OK);
  zutCvtKWNameFromStr("A**", field, sizeof field);
  CHECK(zutCheckValidProfile(field) == ZXVRC_INVALID_NAME);
}

static void test_map_rc(void) {
  KWULONG code = 0x40007072u;
  zutMapRCTo8bit(&code);
  CHECK(code == 114);
  zutMapRCFrom8bit(&code);
  CHECK(code == 0x40007072u);
  code = 0x7005u;
  zutMapRCTo8bit(&code);
  CHECK(code == 5);
  code = 0;
  zutMapRCFrom8bit(&code);
  CHECK(code == 0);
}

static void test_topics(void) {
  KWULONG out_length = 0;
  KWULONG allocated = 0;
  char* out = NULL;
  KWLONG cc = -1;
  KWLONG reason = -1;
  char text[] = "a%*b%%";
  KWLONG length = (KWLONG)strlen(text);
  char* string = text;
  KWULONG buffer_length = (KWULONG)length;
  KWLONG ccsid = KWCCSI_UTF8;

  CHECK(zutEscapeTopicString(ZUT_TOPIC_ESCAPED, 3, "a*b", &out_length, &out, &allocated, &cc,
                             &reason) == ZXVRC_OK);
  CHECK(cc == KWCC_OK && allocated == 1 && out_length == 4);
  CHECK(out != NULL && memcmp(out, "a%*b", 4) == 0);
  if (allocated) xcsFreeMemFn(out);

  CHECK(zutEscapeTopicString(0, 3, "a*b", &out_length, &out, &allocated, &cc, &reason) == ZXVRC_OK);
  CHECK(allocated == 0 && out_length == 3);

  CHECK(zutLiteralizeTopicString(&length, &string, &buffer_length, &ccsid, &allocated, &cc,
                                 &reason) == ZXVRC_OK);
  CHECK(cc == KWCC_OK && length == 4 && memcmp(string, "a*b%", 4) == 0);
  CHECK(strcmp(text, "a%*b%%") == 0); /* the caller's string is not changed */
  if (allocated) xcsFreeMemFn(string);

  CHECK(zutValidateTopicString(ZUT_TOPIC_ESCAPED, 2, "a%") == 0);
  CHECK(zutValidateTopicString(0, 2, "a%") == 1);
  CHECK(zutValidateTopicString(ZUT_TOPIC_ESCAPED, 3, "a%?") == 1);
}

int main(void) {
  test_fields();
  test_checks();
  test_map_rc();
  test_topics();
  if (failures != 0) {
    fprintf(stderr, "plain_c_test: %d check(s) failed\n", failures);
    return 1;
  }
  printf("plain_c_test: all checks passed\n");
  return 0;
}
