/* The least a search page can cost on this machine: load libldap, bind
 * anonymously, search the subtree for all attributes, sort by cn, and print
 * every value of every entry into a table row. Nothing is escaped and no
 * page frame is written; a CGI header line comes first so a web server can
 * serve it.
 *
 * usage: floor HOST PORT BASE FILTER
 *    or: floor URI BASE FILTER  (ldap://, ldaps://, ldapi://: the connection
 *    is opened with ldap_initialize, as the program does for a URI)
 *    or, as a CGI: FLOOR_HOST, FLOOR_PORT (or FLOOR_URI instead of both),
 *    FLOOR_BASE in the environment and the filter as the whole query string
 *    (not decoded). */
#define LDAP_DEPRECATED 1
#include <lber.h>
#include <ldap.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

static const char* setting(int argc, char** argv, int index, const char* name) {
  const char* value = index < argc ? argv[index] : getenv(name);
  if (value == NULL) {
    fprintf(stderr, "floor: %s missing\n", name);
    exit(2);
  }
  return value;
}

int main(int argc, char** argv) {
  /* A first argument with "://" is a URI and takes the place of HOST PORT. */
  const char* uri = NULL;
  if (argc > 1 ? strstr(argv[1], "://") != NULL : getenv("FLOOR_URI") != NULL) {
    uri = argc > 1 ? argv[1] : getenv("FLOOR_URI");
    --argc;
    ++argv;
  }
  const char* host = uri ? NULL : setting(argc, argv, 1, "FLOOR_HOST");
  int port = uri ? 0 : atoi(setting(argc, argv, 2, "FLOOR_PORT"));
  int shift = uri ? 1 : 3;
  const char* base = setting(argc, argv, shift, "FLOOR_BASE");
  const char* filter = setting(argc, argv, shift + 1, "QUERY_STRING");

  fputs("Content-Type: text/html\n\n<table>\n", stdout);
  LDAP* ld = NULL;
  if (uri != NULL) {
    int rc = ldap_initialize(&ld, uri);
    if (rc != LDAP_SUCCESS) {
      fprintf(stderr, "ldap_initialize: %s\n", ldap_err2string(rc));
      return 1;
    }
  } else {
    ld = ldap_init(host, port);
  }
  if (ld == NULL) {
    perror("ldap_init");
    return 1;
  }
  int rc = ldap_bind_s(ld, NULL, NULL, LDAP_AUTH_SIMPLE);
  if (rc != LDAP_SUCCESS) {
    ldap_perror(ld, "ldap_bind");
    return 1;
  }
  LDAPMessage* result = NULL;
  rc = ldap_search_s(ld, base, LDAP_SCOPE_SUBTREE, filter, NULL, 0, &result);
  if (rc != LDAP_SUCCESS) {
    ldap_perror(ld, "ldap_search");
    return 1;
  }
  if (ldap_sort_entries(ld, &result, "cn", strcasecmp) != LDAP_SUCCESS) {
    ldap_perror(ld, "ldap_sort_entries");
    return 1;
  }
  int entries = 0;
  for (LDAPMessage* m = ldap_first_message(ld, result); m != NULL;
       m = ldap_next_message(ld, m)) {
    if (ldap_msgtype(m) != LDAP_RES_SEARCH_ENTRY) continue;
    ++entries;
    fputs("<tr>", stdout);
    BerElement* ber = NULL;
    for (char* a = ldap_first_attribute(ld, m, &ber); a != NULL;
         a = ldap_next_attribute(ld, m, ber)) {
      struct berval** values = ldap_get_values_len(ld, m, a);
      for (int i = 0; values != NULL && values[i] != NULL; ++i) {
        fputs("<td>", stdout);
        fwrite(values[i]->bv_val, 1, values[i]->bv_len, stdout);
        fputs("</td>", stdout);
      }
      ber_bvecfree(values);
      ldap_memfree(a);
    }
    ber_free(ber, 0);
    fputs("</tr>\n", stdout);
  }
  printf("</table>\n%d entries\n", entries);
  ldap_msgfree(result);
  ldap_unbind(ld);
  return 0;
}
