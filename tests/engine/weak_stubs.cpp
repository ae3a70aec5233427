/* Temporary weak definitions so that partial engines link; each aborts. */
#pragma GCC diagnostic ignored "-Wunused-parameter"
#include <cstdlib>
#include "soapengine.h"
__attribute__((weak)) void soap_init1(struct soap *soap, uint32_t mode) { abort(); }
__attribute__((weak)) void soap_init2(struct soap *soap, uint32_t imode, uint32_t omode) { abort(); }
__attribute__((weak)) struct soap *soap_new() { abort(); }
__attribute__((weak)) struct soap *soap_new1(uint32_t mode) { abort(); }
__attribute__((weak)) struct soap *soap_new2(uint32_t imode, uint32_t omode) { abort(); }
__attribute__((weak)) struct soap *soap_copy(const struct soap *soap) { abort(); }
__attribute__((weak)) struct soap *soap_copy_context(struct soap *dst, const struct soap *src) { abort(); }
__attribute__((weak)) void soap_copy_stream(struct soap *dst, struct soap *src) { abort(); }
__attribute__((weak)) void soap_begin(struct soap *soap) { abort(); }
__attribute__((weak)) void soap_end(struct soap *soap) { abort(); }
__attribute__((weak)) void soap_done(struct soap *soap) { abort(); }
__attribute__((weak)) void soap_free(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_register_plugin_arg(struct soap *soap, int (*fcreate)(struct soap *, struct soap_plugin *, void *), void *arg) { abort(); }
__attribute__((weak)) void *soap_lookup_plugin(struct soap *soap, const char *id) { abort(); }
__attribute__((weak)) int soap_closesock(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_valid_state(const struct soap *soap) { abort(); }
__attribute__((weak)) void *soap_track_malloc(struct soap *soap, const char *file, int line, size_t size) { abort(); }
__attribute__((weak)) void soap_track_free(struct soap *soap, const char *file, int line, void *p) { abort(); }
__attribute__((weak)) void soap_track_unlink(struct soap *soap, const void *p) { abort(); }
__attribute__((weak)) void *soap_malloc(struct soap *soap, size_t n) { abort(); }
__attribute__((weak)) char *soap_strdup(struct soap *soap, const char *s) { abort(); }
__attribute__((weak)) wchar_t *soap_wstrdup(struct soap *soap, const wchar_t *s) { abort(); }
__attribute__((weak)) void soap_dealloc(struct soap *soap, void *p) { abort(); }
__attribute__((weak)) struct soap_clist *soap_link(struct soap *soap, void *p, int type, int size, int (*fdelete)(struct soap_clist *)) { abort(); }
__attribute__((weak)) void soap_delete(struct soap *soap, void *p) { abort(); }
__attribute__((weak)) int soap_unlink(struct soap *soap, const void *p) { abort(); }
__attribute__((weak)) void soap_delegate_deletion(struct soap *soap, struct soap *target) { abort(); }
__attribute__((weak)) struct soap_blist *soap_new_block(struct soap *soap) { abort(); }
__attribute__((weak)) void *soap_push_block(struct soap *soap, struct soap_blist *b, size_t n) { abort(); }
__attribute__((weak)) void soap_pop_block(struct soap *soap, struct soap_blist *b) { abort(); }
__attribute__((weak)) char *soap_first_block(struct soap *soap, struct soap_blist *b) { abort(); }
__attribute__((weak)) char *soap_next_block(struct soap *soap, struct soap_blist *b) { abort(); }
__attribute__((weak)) size_t soap_block_size(struct soap *soap, struct soap_blist *b) { abort(); }
__attribute__((weak)) size_t soap_size_block(struct soap *soap, struct soap_blist *b, size_t n) { abort(); }
__attribute__((weak)) void soap_end_block(struct soap *soap, struct soap_blist *b) { abort(); }
__attribute__((weak)) char *soap_save_block(struct soap *soap, struct soap_blist *b, char *target, int relocate) { abort(); }
__attribute__((weak)) void soap_update_pointers(struct soap *soap, char *start, char *end, char *p1, char *p2) { abort(); }
__attribute__((weak)) int soap_has_copies(struct soap *soap, const char *start, const char *end) { abort(); }
__attribute__((weak)) void soap_free_temp(struct soap *soap) { abort(); }
__attribute__((weak)) void soap_free_pht(struct soap *soap) { abort(); }
__attribute__((weak)) void soap_free_iht(struct soap *soap) { abort(); }
__attribute__((weak)) soap_wchar soap_getchar(struct soap *soap) { abort(); }
__attribute__((weak)) soap_wchar soap_get(struct soap *soap) { abort(); }
__attribute__((weak)) soap_wchar soap_getutf8(struct soap *soap) { abort(); }
__attribute__((weak)) soap_wchar soap_char(struct soap *soap) { abort(); }
__attribute__((weak)) soap_wchar soap_getpi(struct soap *soap) { abort(); }
__attribute__((weak)) const char *soap_value(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_getattrval(struct soap *soap, char *buffer, size_t capacity, soap_wchar delimiter) { abort(); }
__attribute__((weak)) int soap_peek_element(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_element_begin_in(struct soap *soap, const char *tag, int nillable, const char *type) { abort(); }
__attribute__((weak)) int soap_element_end_in(struct soap *soap, const char *tag) { abort(); }
__attribute__((weak)) const char *soap_attr_value(struct soap *soap, const char *name, int occurrence) { abort(); }
__attribute__((weak)) void soap_revert(struct soap *soap) { abort(); }
__attribute__((weak)) void soap_retry(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_ignore_element(struct soap *soap) { abort(); }
__attribute__((weak)) char *soap_string_in(struct soap *soap, int flag, long minlen, long maxlen) { abort(); }
__attribute__((weak)) wchar_t *soap_wstring_in(struct soap *soap, int flag, long minlen, long maxlen) { abort(); }
__attribute__((weak)) char **soap_instring(struct soap *soap, const char *tag, char **p, const char *type, int t, int flag, long minlen, long maxlen) { abort(); }
__attribute__((weak)) wchar_t **soap_inwstring(struct soap *soap, const char *tag, wchar_t **p, const char *type, int t, long minlen, long maxlen) { abort(); }
__attribute__((weak)) char **soap_inliteral(struct soap *soap, const char *tag, char **p) { abort(); }
__attribute__((weak)) wchar_t **soap_inwliteral(struct soap *soap, const char *tag, wchar_t **p) { abort(); }
__attribute__((weak)) unsigned char *soap_getbase64(struct soap *soap, int *n) { abort(); }
__attribute__((weak)) unsigned char *soap_gethex(struct soap *soap, int *n) { abort(); }
__attribute__((weak)) int soap_append_lab(struct soap *soap, const char *s, size_t n) { abort(); }
__attribute__((weak)) int soap_set_lab(struct soap *soap, const char *s, size_t n) { abort(); }
__attribute__((weak)) int soap_getposition(const char *attr, int *pos) { abort(); }
__attribute__((weak)) int soap_send(struct soap *soap, const char *s) { abort(); }
__attribute__((weak)) int soap_send2(struct soap *soap, const char *s1, const char *s2) { abort(); }
__attribute__((weak)) int soap_send3(struct soap *soap, const char *s1, const char *s2, const char *s3) { abort(); }
__attribute__((weak)) int soap_string_out(struct soap *soap, const char *s, int flag) { abort(); }
__attribute__((weak)) int soap_wstring_out(struct soap *soap, const wchar_t *s, int flag) { abort(); }
__attribute__((weak)) int soap_pututf8(struct soap *soap, unsigned long c) { abort(); }
__attribute__((weak)) int soap_putbase64(struct soap *soap, const unsigned char *s, int n) { abort(); }
__attribute__((weak)) int soap_puthex(struct soap *soap, const unsigned char *s, int n) { abort(); }
__attribute__((weak)) int soap_element(struct soap *soap, const char *tag, int id, const char *type) { abort(); }
__attribute__((weak)) int soap_element_begin_out(struct soap *soap, const char *tag, int id, const char *type) { abort(); }
__attribute__((weak)) int soap_element_start_end_out(struct soap *soap, const char *tag) { abort(); }
__attribute__((weak)) int soap_element_end_out(struct soap *soap, const char *tag) { abort(); }
__attribute__((weak)) int soap_element_nil(struct soap *soap, const char *tag) { abort(); }
__attribute__((weak)) int soap_element_null(struct soap *soap, const char *tag, int id, const char *type) { abort(); }
__attribute__((weak)) int soap_element_href(struct soap *soap, const char *tag, int id, const char *attribute, const char *value) { abort(); }
__attribute__((weak)) int soap_element_ref(struct soap *soap, const char *tag, int id, int href) { abort(); }
__attribute__((weak)) int soap_element_id(struct soap *soap, const char *tag, int id, const void *p, const struct soap_array *a, int n, const char *type, int t) { abort(); }
__attribute__((weak)) int soap_array_begin_out(struct soap *soap, const char *tag, int id, const char *type, const char *offset) { abort(); }
__attribute__((weak)) int soap_element_result(struct soap *soap, const char *tag) { abort(); }
__attribute__((weak)) int soap_attribute(struct soap *soap, const char *name, const char *value) { abort(); }
__attribute__((weak)) int soap_set_attr(struct soap *soap, const char *name, const char *value, int flag) { abort(); }
__attribute__((weak)) void soap_clr_attr(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_outstring(struct soap *soap, const char *tag, int id, char *const *p, const char *type, int t) { abort(); }
__attribute__((weak)) int soap_outwstring(struct soap *soap, const char *tag, int id, wchar_t *const *p, const char *type, int t) { abort(); }
__attribute__((weak)) int soap_outliteral(struct soap *soap, const char *tag, char *const *p, const char *type) { abort(); }
__attribute__((weak)) int soap_outwliteral(struct soap *soap, const char *tag, wchar_t *const *p, const char *type) { abort(); }
__attribute__((weak)) int soap_attachment(struct soap *soap, const char *tag, int id, const void *p, const struct soap_array *a, const char *aid, const char *atype, const char *aoptions, int n, const char *type, int t) { abort(); }
__attribute__((weak)) const char *soap_putsize(struct soap *soap, const char *type, int size) { abort(); }
__attribute__((weak)) const char *soap_putsizes(struct soap *soap, const char *type, const int *size, int dim) { abort(); }
__attribute__((weak)) const char *soap_putsizesoffsets(struct soap *soap, const char *type, const int *size, const int *offset, int dim) { abort(); }
__attribute__((weak)) const char *soap_putposition(struct soap *soap, int i) { abort(); }
__attribute__((weak)) const char *soap_putpositions(struct soap *soap, int dim, const int *pos) { abort(); }
__attribute__((weak)) int soap_set_namespaces(struct soap *soap, const struct Namespace *table) { abort(); }
__attribute__((weak)) void soap_set_local_namespaces(struct soap *soap) { abort(); }
__attribute__((weak)) struct soap_nlist *soap_push_namespace(struct soap *soap, const char *prefix, const char *uri) { abort(); }
__attribute__((weak)) void soap_pop_namespace(struct soap *soap) { abort(); }
__attribute__((weak)) void soap_free_ns(struct soap *soap) { abort(); }
__attribute__((weak)) struct soap_nlist *soap_lookup_ns(struct soap *soap, const char *tag, size_t n) { abort(); }
__attribute__((weak)) struct soap_nlist *soap_push_ns(struct soap *soap, const char *prefix, const char *uri, short index) { abort(); }
__attribute__((weak)) void soap_utilize_ns(struct soap *soap, const char *tag) { abort(); }
__attribute__((weak)) int soap_match_namespace(struct soap *soap, const char *tag, const char *pattern, size_t n1, size_t n2) { abort(); }
__attribute__((weak)) int soap_match_tag(struct soap *soap, const char *tag, const char *pattern) { abort(); }
__attribute__((weak)) int soap_tag_cmp(const char *text, const char *pattern) { abort(); }
__attribute__((weak)) const char *soap_tagsearch(const char *list, const char *word) { abort(); }
__attribute__((weak)) const char *soap_current_namespace(struct soap *soap, const char *tag) { abort(); }
__attribute__((weak)) int soap_s2QName(struct soap *soap, const char *s, char **t, long minlen, long maxlen) { abort(); }
__attribute__((weak)) const char *soap_QName2s(struct soap *soap, const char *s) { abort(); }
__attribute__((weak)) int soap_pointer_lookup(struct soap *soap, const void *p, int type, struct soap_plist **ppp) { abort(); }
__attribute__((weak)) int soap_array_pointer_lookup(struct soap *soap, const void *p, const struct soap_array *a, int n, int type, struct soap_plist **ppp) { abort(); }
__attribute__((weak)) int soap_pointer_enter(struct soap *soap, const void *p, const struct soap_array *a, int n, int type, struct soap_plist **ppp) { abort(); }
__attribute__((weak)) int soap_reference(struct soap *soap, const void *p, int type) { abort(); }
__attribute__((weak)) int soap_array_reference(struct soap *soap, const void *p, const struct soap_array *a, int n, int type) { abort(); }
__attribute__((weak)) int soap_embedded(struct soap *soap, const void *p, int type) { abort(); }
__attribute__((weak)) int soap_embedded_id(struct soap *soap, int id, const void *p, int type) { abort(); }
__attribute__((weak)) int soap_is_embedded(struct soap *soap, struct soap_plist *pp) { abort(); }
__attribute__((weak)) int soap_is_single(struct soap *soap, struct soap_plist *pp) { abort(); }
__attribute__((weak)) void soap_set_embedded(struct soap *soap, struct soap_plist *pp) { abort(); }
__attribute__((weak)) int soap_embed(struct soap *soap, const void *p, const struct soap_array *a, int n, const char *tag, int type) { abort(); }
__attribute__((weak)) size_t soap_hash(const char *s) { abort(); }
__attribute__((weak)) struct soap_ilist *soap_lookup(struct soap *soap, const char *id) { abort(); }
__attribute__((weak)) struct soap_ilist *soap_enter(struct soap *soap, const char *id) { abort(); }
__attribute__((weak)) int soap_lookup_type(struct soap *soap, const char *id) { abort(); }
__attribute__((weak)) void *soap_id_enter(struct soap *soap, const char *id, void *p, int t, size_t n, unsigned int k, const char *type, const char *arrayType, void *(*finstantiate)(struct soap *, int, const char *, const char *, size_t *)) { abort(); }
__attribute__((weak)) void **soap_id_lookup(struct soap *soap, const char *id, void **p, int t, size_t n, unsigned int k) { abort(); }
__attribute__((weak)) void *soap_id_forward(struct soap *soap, const char *href, void *p, size_t len, int st, int tt, size_t n, unsigned int k, void (*fcopy)(struct soap *, int, int, void *, size_t, const void *, size_t)) { abort(); }
__attribute__((weak)) int soap_xop_forward(struct soap *soap, unsigned char **ptr, int *size, char **id, char **type, char **options) { abort(); }
__attribute__((weak)) int soap_resolve(struct soap *soap) { abort(); }
__attribute__((weak)) void soap_resolve_attachment(struct soap *soap, struct soap_multipart *content) { abort(); }
__attribute__((weak)) int soap_match_cid(struct soap *soap, const char *s, const char *t) { abort(); }
__attribute__((weak)) void soap_fcopy(struct soap *soap, int st, int tt, void *p, size_t len, const void *q, size_t n) { abort(); }
__attribute__((weak)) int soap_getsizes(const char *attr, int *size, int dim) { abort(); }
__attribute__((weak)) int soap_getsize(const char *attr1, const char *attr2, int *j) { abort(); }
__attribute__((weak)) int soap_getoffsets(const char *attr, const int *size, int *offset, int dim) { abort(); }
__attribute__((weak)) int soap_size(const int *size, int dim) { abort(); }
__attribute__((weak)) int soap_s2byte(struct soap *soap, const char *s, char *p) { abort(); }
__attribute__((weak)) int soap_s2short(struct soap *soap, const char *s, short *p) { abort(); }
__attribute__((weak)) int soap_s2int(struct soap *soap, const char *s, int *p) { abort(); }
__attribute__((weak)) int soap_s2long(struct soap *soap, const char *s, long *p) { abort(); }
__attribute__((weak)) int soap_s2LONG64(struct soap *soap, const char *s, LONG64 *p) { abort(); }
__attribute__((weak)) int soap_s2unsignedByte(struct soap *soap, const char *s, unsigned char *p) { abort(); }
__attribute__((weak)) int soap_s2unsignedShort(struct soap *soap, const char *s, unsigned short *p) { abort(); }
__attribute__((weak)) int soap_s2unsignedInt(struct soap *soap, const char *s, unsigned int *p) { abort(); }
__attribute__((weak)) int soap_s2unsignedLong(struct soap *soap, const char *s, unsigned long *p) { abort(); }
__attribute__((weak)) int soap_s2ULONG64(struct soap *soap, const char *s, ULONG64 *p) { abort(); }
__attribute__((weak)) int soap_s2float(struct soap *soap, const char *s, float *p) { abort(); }
__attribute__((weak)) int soap_s2double(struct soap *soap, const char *s, double *p) { abort(); }
__attribute__((weak)) int soap_s2dateTime(struct soap *soap, const char *s, time_t *p) { abort(); }
__attribute__((weak)) int soap_s2string(struct soap *soap, const char *s, char **t, long minlen, long maxlen) { abort(); }
__attribute__((weak)) int soap_s2wchar(struct soap *soap, const char *s, wchar_t **t, long minlen, long maxlen) { abort(); }
__attribute__((weak)) const char *soap_byte2s(struct soap *soap, char n) { abort(); }
__attribute__((weak)) const char *soap_short2s(struct soap *soap, short n) { abort(); }
__attribute__((weak)) const char *soap_int2s(struct soap *soap, int n) { abort(); }
__attribute__((weak)) const char *soap_long2s(struct soap *soap, long n) { abort(); }
__attribute__((weak)) const char *soap_LONG642s(struct soap *soap, LONG64 n) { abort(); }
__attribute__((weak)) const char *soap_unsignedByte2s(struct soap *soap, unsigned char n) { abort(); }
__attribute__((weak)) const char *soap_unsignedShort2s(struct soap *soap, unsigned short n) { abort(); }
__attribute__((weak)) const char *soap_unsignedInt2s(struct soap *soap, unsigned int n) { abort(); }
__attribute__((weak)) const char *soap_unsignedLong2s(struct soap *soap, unsigned long n) { abort(); }
__attribute__((weak)) const char *soap_ULONG642s(struct soap *soap, ULONG64 n) { abort(); }
__attribute__((weak)) const char *soap_float2s(struct soap *soap, float n) { abort(); }
__attribute__((weak)) const char *soap_double2s(struct soap *soap, double n) { abort(); }
__attribute__((weak)) const char *soap_dateTime2s(struct soap *soap, time_t n) { abort(); }
__attribute__((weak)) const char *soap_wchar2s(struct soap *soap, const wchar_t *s) { abort(); }
__attribute__((weak)) char *soap_inbyte(struct soap *soap, const char *tag, char *p, const char *type, int t) { abort(); }
__attribute__((weak)) short *soap_inshort(struct soap *soap, const char *tag, short *p, const char *type, int t) { abort(); }
__attribute__((weak)) int *soap_inint(struct soap *soap, const char *tag, int *p, const char *type, int t) { abort(); }
__attribute__((weak)) long *soap_inlong(struct soap *soap, const char *tag, long *p, const char *type, int t) { abort(); }
__attribute__((weak)) LONG64 *soap_inLONG64(struct soap *soap, const char *tag, LONG64 *p, const char *type, int t) { abort(); }
__attribute__((weak)) unsigned char *soap_inunsignedByte(struct soap *soap, const char *tag, unsigned char *p, const char *type, int t) { abort(); }
__attribute__((weak)) unsigned short *soap_inunsignedShort(struct soap *soap, const char *tag, unsigned short *p, const char *type, int t) { abort(); }
__attribute__((weak)) unsigned int *soap_inunsignedInt(struct soap *soap, const char *tag, unsigned int *p, const char *type, int t) { abort(); }
__attribute__((weak)) unsigned long *soap_inunsignedLong(struct soap *soap, const char *tag, unsigned long *p, const char *type, int t) { abort(); }
__attribute__((weak)) ULONG64 *soap_inULONG64(struct soap *soap, const char *tag, ULONG64 *p, const char *type, int t) { abort(); }
__attribute__((weak)) float *soap_infloat(struct soap *soap, const char *tag, float *p, const char *type, int t) { abort(); }
__attribute__((weak)) double *soap_indouble(struct soap *soap, const char *tag, double *p, const char *type, int t) { abort(); }
__attribute__((weak)) time_t *soap_indateTime(struct soap *soap, const char *tag, time_t *p, const char *type, int t) { abort(); }
__attribute__((weak)) int soap_outbyte(struct soap *soap, const char *tag, int id, const char *p, const char *type, int t) { abort(); }
__attribute__((weak)) int soap_outshort(struct soap *soap, const char *tag, int id, const short *p, const char *type, int t) { abort(); }
__attribute__((weak)) int soap_outint(struct soap *soap, const char *tag, int id, const int *p, const char *type, int t) { abort(); }
__attribute__((weak)) int soap_outlong(struct soap *soap, const char *tag, int id, const long *p, const char *type, int t) { abort(); }
__attribute__((weak)) int soap_outLONG64(struct soap *soap, const char *tag, int id, const LONG64 *p, const char *type, int t) { abort(); }
__attribute__((weak)) int soap_outunsignedByte(struct soap *soap, const char *tag, int id, const unsigned char *p, const char *type, int t) { abort(); }
__attribute__((weak)) int soap_outunsignedShort(struct soap *soap, const char *tag, int id, const unsigned short *p, const char *type, int t) { abort(); }
__attribute__((weak)) int soap_outunsignedInt(struct soap *soap, const char *tag, int id, const unsigned int *p, const char *type, int t) { abort(); }
__attribute__((weak)) int soap_outunsignedLong(struct soap *soap, const char *tag, int id, const unsigned long *p, const char *type, int t) { abort(); }
__attribute__((weak)) int soap_outULONG64(struct soap *soap, const char *tag, int id, const ULONG64 *p, const char *type, int t) { abort(); }
__attribute__((weak)) int soap_outfloat(struct soap *soap, const char *tag, int id, const float *p, const char *type, int t) { abort(); }
__attribute__((weak)) int soap_outdouble(struct soap *soap, const char *tag, int id, const double *p, const char *type, int t) { abort(); }
__attribute__((weak)) int soap_outdateTime(struct soap *soap, const char *tag, int id, const time_t *p, const char *type, int t) { abort(); }
__attribute__((weak)) char *soap_s2base64(struct soap *soap, const unsigned char *s, char *t, int n) { abort(); }
__attribute__((weak)) const char *soap_base642s(struct soap *soap, const char *s, char *t, size_t l, int *n) { abort(); }
__attribute__((weak)) char *soap_s2hex(struct soap *soap, const unsigned char *s, char *t, int n) { abort(); }
__attribute__((weak)) const char *soap_hex2s(struct soap *soap, const char *s, char *t, size_t l, int *n) { abort(); }
__attribute__((weak)) int soap_isnumeric(struct soap *soap, const char *type) { abort(); }
__attribute__((weak)) int soap_match_array(struct soap *soap, const char *type) { abort(); }
__attribute__((weak)) const struct soap_code_map *soap_code(const struct soap_code_map *map, const char *str) { abort(); }
__attribute__((weak)) long soap_code_int(const struct soap_code_map *map, const char *str, long other) { abort(); }
__attribute__((weak)) const char *soap_code_str(const struct soap_code_map *map, long code) { abort(); }
__attribute__((weak)) long soap_code_bits(const struct soap_code_map *map, const char *str) { abort(); }
__attribute__((weak)) const char *soap_code_list(struct soap *soap, const struct soap_code_map *map, long code) { abort(); }
__attribute__((weak)) int soap_envelope_begin_out(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_envelope_end_out(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_body_begin_out(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_body_end_out(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_envelope_begin_in(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_envelope_end_in(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_body_begin_in(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_body_end_in(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_recv_header(struct soap *soap) { abort(); }
__attribute__((weak)) const char **soap_faultcode(struct soap *soap) { abort(); }
__attribute__((weak)) const char **soap_faultsubcode(struct soap *soap) { abort(); }
__attribute__((weak)) const char *soap_check_faultsubcode(struct soap *soap) { abort(); }
__attribute__((weak)) const char **soap_faultstring(struct soap *soap) { abort(); }
__attribute__((weak)) const char **soap_faultdetail(struct soap *soap) { abort(); }
__attribute__((weak)) const char *soap_check_faultdetail(struct soap *soap) { abort(); }
__attribute__((weak)) void soap_set_fault(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_set_error(struct soap *soap, const char *faultcode, const char *faultsubcode, const char *faultstring, const char *faultdetail, int soaperror) { abort(); }
__attribute__((weak)) int soap_set_sender_error(struct soap *soap, const char *faultstring, const char *faultdetail, int soaperror) { abort(); }
__attribute__((weak)) int soap_set_receiver_error(struct soap *soap, const char *faultstring, const char *faultdetail, int soaperror) { abort(); }
__attribute__((weak)) int soap_copy_fault(struct soap *soap, const char *faultcode, const char *faultsubcode, const char *faultstring, const char *faultdetail) { abort(); }
__attribute__((weak)) int soap_sender_fault(struct soap *soap, const char *faultstring, const char *faultdetail) { abort(); }
__attribute__((weak)) int soap_sender_fault_subcode(struct soap *soap, const char *faultsubcode, const char *faultstring, const char *faultdetail) { abort(); }
__attribute__((weak)) int soap_receiver_fault(struct soap *soap, const char *faultstring, const char *faultdetail) { abort(); }
__attribute__((weak)) int soap_receiver_fault_subcode(struct soap *soap, const char *faultsubcode, const char *faultstring, const char *faultdetail) { abort(); }
__attribute__((weak)) const char *soap_set_validation_fault(struct soap *soap, const char *s, const char *t) { abort(); }
__attribute__((weak)) const char *soap_strerror(struct soap *soap) { abort(); }
__attribute__((weak)) const char *tcp_error(struct soap *soap) { abort(); }
__attribute__((weak)) const char *soap_sprint_fault(struct soap *soap, char *buf, size_t len) { abort(); }
__attribute__((weak)) void soap_print_fault(struct soap *soap, FILE *fd) { abort(); }
__attribute__((weak)) void soap_stream_fault(struct soap *soap, std::ostream &os) { abort(); }
__attribute__((weak)) void soap_print_fault_location(struct soap *soap, FILE *fd) { abort(); }
__attribute__((weak)) int soap_send_fault(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_recv_fault(struct soap *soap, int check) { abort(); }
__attribute__((weak)) int soap_begin_count(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_end_count(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_begin_send(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_end_send(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_send_raw(struct soap *soap, const char *s, size_t n) { abort(); }
__attribute__((weak)) int soap_flush(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_flush_raw(struct soap *soap, const char *s, size_t n) { abort(); }
__attribute__((weak)) int soap_begin_recv(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_end_recv(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_recv_raw(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_recv(struct soap *soap) { abort(); }
__attribute__((weak)) soap_wchar soap_getchunkchar(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_move(struct soap *soap, long n) { abort(); }
__attribute__((weak)) void soap_set_logfile(struct soap *soap, int slot, const char *path) {}
__attribute__((weak)) void soap_set_recv_logfile(struct soap *soap, const char *path) {}
__attribute__((weak)) void soap_set_sent_logfile(struct soap *soap, const char *path) {}
__attribute__((weak)) void soap_open_logfile(struct soap *soap, int slot) {}
__attribute__((weak)) void soap_close_logfile(struct soap *soap, int slot) {}
__attribute__((weak)) void soap_close_logfiles(struct soap *soap) {}
__attribute__((weak)) void soap_trace(struct soap *soap, int slot, const char *bytes, size_t n) {}
__attribute__((weak)) char *soap_trace_redact(const char *text, size_t size, size_t *out_size) { abort(); }
__attribute__((weak)) void *soap_getelement(struct soap *soap, int *type) { abort(); }
__attribute__((weak)) int soap_putelement(struct soap *soap, const void *ptr, const char *tag, int id, int type) { abort(); }
__attribute__((weak)) void soap_markelement(struct soap *soap, const void *ptr, int type) { abort(); }
__attribute__((weak)) int soap_getindependent(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_putindependent(struct soap *soap) { abort(); }
__attribute__((weak)) void *soap_instantiate(struct soap *soap, int t, const char *type, const char *arrayType, size_t *n) { abort(); }
__attribute__((weak)) int soap_fdelete(struct soap_clist *p) { abort(); }
__attribute__((weak)) void soap_container_insert(struct soap *soap, int st, int tt, void *p, size_t len, const void *q, size_t n) { abort(); }
__attribute__((weak)) int soap_getheader(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_putheader(struct soap *soap) { abort(); }
__attribute__((weak)) void soap_serializeheader(struct soap *soap) { abort(); }
__attribute__((weak)) void soap_getfault(struct soap *soap) { abort(); }
__attribute__((weak)) int soap_putfault(struct soap *soap) { abort(); }
__attribute__((weak)) void soap_serializefault(struct soap *soap) { abort(); }
__attribute__((weak)) void soap_header(struct soap *soap) { abort(); }
__attribute__((weak)) void soap_fault(struct soap *soap) { abort(); }
__attribute__((weak)) soap::soap() { abort(); }
__attribute__((weak)) soap::soap(uint32_t) { abort(); }
__attribute__((weak)) soap::soap(uint32_t, uint32_t) { abort(); }
__attribute__((weak)) soap::~soap() {}
__attribute__((weak)) void soap_init(struct soap *soap) { abort(); }
#include "soapinternal.h"
/* Defaults of the callback slots: harmless until their owners land. */
__attribute__((weak)) int http_post(struct soap *, const char *, const char *, int, const char *, const char *, size_t) { return SOAP_OK; }
__attribute__((weak)) int http_get(struct soap *) { return SOAP_GET_METHOD; }
__attribute__((weak)) int http_405(struct soap *) { return 405; }
__attribute__((weak)) int http_200(struct soap *) { return SOAP_OK; }
__attribute__((weak)) int http_post_header(struct soap *, const char *, const char *) { return SOAP_OK; }
__attribute__((weak)) int http_response(struct soap *, int, size_t) { return SOAP_OK; }
__attribute__((weak)) int http_parse(struct soap *) { return SOAP_OK; }
__attribute__((weak)) int http_parse_header(struct soap *, const char *, const char *) { return SOAP_OK; }
__attribute__((weak)) int tcp_connect(struct soap *, const char *, const char *, int) { return -1; }
__attribute__((weak)) int tcp_accept(struct soap *, int, struct sockaddr *, int *) { return -1; }
__attribute__((weak)) int tcp_disconnect(struct soap *) { return SOAP_OK; }
__attribute__((weak)) int tcp_closesocket(struct soap *, int) { return SOAP_OK; }
__attribute__((weak)) int tcp_shutdownsocket(struct soap *, int, int) { return SOAP_OK; }
__attribute__((weak)) int soap_io_send(struct soap *, const char *, size_t) { return SOAP_OK; }
__attribute__((weak)) size_t soap_io_recv(struct soap *, char *, size_t) { return 0; }
__attribute__((weak)) int soap_poll(struct soap *) { return SOAP_OK; }
__attribute__((weak)) void soap_ssl_init(void) {}
__attribute__((weak)) int ssl_auth_init(struct soap *) { return SOAP_OK; }
__attribute__((weak)) int ssl_verify_callback(int ok, X509_STORE_CTX *) { return ok; }
