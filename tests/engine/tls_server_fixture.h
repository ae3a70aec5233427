/* tls_server_fixture.h -- certificates made at test time and a TLS peer on
 * the loopback interface for the TLS tests.  The PKI (a test CA, a second
 * CA, an intermediate, one leaf key) is made once per test binary run with
 * EC P-256 keys; each certificate names its own validity period, names and
 * issuer.  The peer rides on a scripted connection of http_server_fixture.h
 * and accepts with the engine's own soap_ssl_accept.  Not a general server.
 */
#ifndef ORVSOAP_TESTS_TLS_SERVER_FIXTURE_H
#define ORVSOAP_TESTS_TLS_SERVER_FIXTURE_H

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "http_server_fixture.h"
#include "soapengine.h"
#include "soapinternal.h"

/* A UTC calendar time. */
inline time_t utc_time(int year, int month, int day, int hour = 0, int minute = 0, int second = 0)
{
    struct tm tm;
    memset(&tm, 0, sizeof(tm));
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hour;
    tm.tm_min = minute;
    tm.tm_sec = second;
    return timegm(&tm);
}

enum class Issuer { Ca, OtherCa, Self, Intermediate };

/* What a certificate says. */
struct CertTemplate {
    std::vector<std::string> cns;        /* subject commonName entries */
    std::vector<std::string> dns;        /* subjectAltName DNS entries */
    std::vector<std::string> ips;        /* subjectAltName IP entries */
    time_t not_before = utc_time(2000, 1, 1);
    time_t not_after = utc_time(2099, 1, 1);
    Issuer issuer = Issuer::Ca;
    bool send_intermediate = true;       /* the key file carries the intermediate too */
    const char *password = nullptr;      /* encrypt the key with this */
};

using X509Ptr = std::unique_ptr<X509, decltype(&X509_free)>;

class TestPki {
public:
    static TestPki &get()
    {
        static TestPki pki;
        return pki;
    }

    const std::string &dir() const { return dir_; }
    /* PEM file of the test CA (trust anchor of the tests) */
    const std::string &ca_file() const { return ca_file_; }
    /* PEM file of the second CA */
    const std::string &other_ca_file() const { return other_ca_file_; }

    /* A certificate for the leaf key. */
    X509Ptr make(const CertTemplate &tpl)
    {
        std::lock_guard<std::mutex> hold(mu_);
        X509 *x = X509_new();
        X509_set_version(x, 2);
        ASN1_INTEGER_set(X509_get_serialNumber(x), ++serial_);
        ASN1_TIME_set(X509_getm_notBefore(x), tpl.not_before);
        ASN1_TIME_set(X509_getm_notAfter(x), tpl.not_after);
        X509_set_pubkey(x, leaf_key_);
        X509_NAME *name = X509_get_subject_name(x);
        X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC, (const unsigned char *)"orvsoap tests", -1, -1, 0);
        for (const auto &cn : tpl.cns)
            X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, (const unsigned char *)cn.data(), (int)cn.size(),
                                       -1, 0);
        X509 *issuer = nullptr;
        EVP_PKEY *issuer_key = leaf_key_;
        switch (tpl.issuer) {
        case Issuer::Ca: issuer = ca_; issuer_key = ca_key_; break;
        case Issuer::OtherCa: issuer = other_ca_; issuer_key = other_ca_key_; break;
        case Issuer::Intermediate: issuer = inter_; issuer_key = inter_key_; break;
        case Issuer::Self: break;
        }
        X509_set_issuer_name(x, issuer ? X509_get_subject_name(issuer) : name);
        std::string san;
        for (const auto &d : tpl.dns)
            san += (san.empty() ? "DNS:" : ",DNS:") + d;
        for (const auto &ip : tpl.ips)
            san += (san.empty() ? "IP:" : ",IP:") + ip;
        if (!san.empty())
            add_ext(x, issuer ? issuer : x, NID_subject_alt_name, san.c_str());
        X509_sign(x, issuer_key, EVP_sha256());
        return X509Ptr(x, X509_free);
    }

    /* A key file (certificate chain, then the key) for the template; the path. */
    std::string keyfile(const CertTemplate &tpl)
    {
        X509Ptr cert = make(tpl);
        std::lock_guard<std::mutex> hold(mu_);
        std::string path = dir_ + "/key" + std::to_string(++files_) + ".pem";
        BIO *b = BIO_new_file(path.c_str(), "w");
        PEM_write_bio_X509(b, cert.get());
        if (tpl.issuer == Issuer::Intermediate && tpl.send_intermediate)
            PEM_write_bio_X509(b, inter_);
        if (tpl.password)
            PEM_write_bio_PrivateKey(b, leaf_key_, EVP_aes_128_cbc(), nullptr, 0, nullptr,
                                     const_cast<char *>(tpl.password));
        else
            PEM_write_bio_PrivateKey(b, leaf_key_, nullptr, nullptr, 0, nullptr, nullptr);
        BIO_free(b);
        return path;
    }

    /* A file with the given text; the path. */
    std::string file(const std::string &name, const std::string &text)
    {
        std::string path = dir_ + "/" + name;
        FILE *f = fopen(path.c_str(), "wb");
        if (f) {
            fwrite(text.data(), 1, text.size(), f);
            fclose(f);
        }
        return path;
    }

    /* PEM file of standard 2048-bit DH parameters. */
    std::string dh_file()
    {
        std::lock_guard<std::mutex> hold(mu_);
        if (!dh_file_.empty())
            return dh_file_;
        EVP_PKEY_CTX *pc = EVP_PKEY_CTX_new_from_name(nullptr, "DH", nullptr);
        EVP_PKEY *params = nullptr;
        char group[] = "ffdhe2048";
        OSSL_PARAM p[] = {OSSL_PARAM_construct_utf8_string("group", group, 0), OSSL_PARAM_construct_end()};
        if (pc && EVP_PKEY_paramgen_init(pc) > 0 && EVP_PKEY_CTX_set_params(pc, p) > 0)
            EVP_PKEY_paramgen(pc, &params);
        EVP_PKEY_CTX_free(pc);
        std::string path = dir_ + "/dh2048.pem";
        BIO *b = BIO_new_file(path.c_str(), "w");
        if (params)
            PEM_write_bio_Parameters(b, params);
        BIO_free(b);
        EVP_PKEY_free(params);
        dh_file_ = path;
        return path;
    }

    ~TestPki()
    {
        X509_free(ca_);
        X509_free(other_ca_);
        X509_free(inter_);
        EVP_PKEY_free(ca_key_);
        EVP_PKEY_free(other_ca_key_);
        EVP_PKEY_free(inter_key_);
        EVP_PKEY_free(leaf_key_);
        std::string cmd = "rm -rf '" + dir_ + "'";
        if (dir_.size() > 5)
            (void)system(cmd.c_str());
    }

private:
    TestPki()
    {
        char tmpl[] = "/tmp/orvsoap-tls-XXXXXX";
        const char *d = mkdtemp(tmpl);
        dir_ = d ? d : "/tmp";
        ca_key_ = EVP_EC_gen("P-256");
        other_ca_key_ = EVP_EC_gen("P-256");
        inter_key_ = EVP_EC_gen("P-256");
        leaf_key_ = EVP_EC_gen("P-256");
        ca_ = make_ca("orvsoap test CA", ca_key_, nullptr, ca_key_);
        other_ca_ = make_ca("orvsoap other CA", other_ca_key_, nullptr, other_ca_key_);
        inter_ = make_ca("orvsoap intermediate CA", inter_key_, ca_, ca_key_);
        ca_file_ = write_cert("ca.pem", ca_);
        other_ca_file_ = write_cert("other-ca.pem", other_ca_);
    }

    static void add_ext(X509 *x, X509 *issuer, int nid, const char *value)
    {
        X509V3_CTX ctx;
        X509V3_set_ctx(&ctx, issuer, x, nullptr, nullptr, 0);
        X509_EXTENSION *ext = X509V3_EXT_conf_nid(nullptr, &ctx, nid, value);
        if (ext) {
            X509_add_ext(x, ext, -1);
            X509_EXTENSION_free(ext);
        }
    }

    X509 *make_ca(const char *cn, EVP_PKEY *key, X509 *issuer, EVP_PKEY *issuer_key)
    {
        X509 *x = X509_new();
        X509_set_version(x, 2);
        ASN1_INTEGER_set(X509_get_serialNumber(x), ++serial_);
        ASN1_TIME_set(X509_getm_notBefore(x), utc_time(1999, 1, 1));
        ASN1_TIME_set(X509_getm_notAfter(x), utc_time(2100, 1, 1));
        X509_set_pubkey(x, key);
        X509_NAME *name = X509_get_subject_name(x);
        X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, (const unsigned char *)cn, -1, -1, 0);
        X509_set_issuer_name(x, issuer ? X509_get_subject_name(issuer) : name);
        add_ext(x, issuer ? issuer : x, NID_basic_constraints, "critical,CA:TRUE");
        add_ext(x, issuer ? issuer : x, NID_key_usage, "critical,keyCertSign,cRLSign");
        add_ext(x, issuer ? issuer : x, NID_subject_key_identifier, "hash");
        X509_sign(x, issuer_key, EVP_sha256());
        return x;
    }

    std::string write_cert(const char *name, X509 *x)
    {
        std::string path = dir_ + "/" + name;
        BIO *b = BIO_new_file(path.c_str(), "w");
        PEM_write_bio_X509(b, x);
        BIO_free(b);
        return path;
    }

    std::mutex mu_;
    std::string dir_, ca_file_, other_ca_file_, dh_file_;
    EVP_PKEY *ca_key_ = nullptr, *other_ca_key_ = nullptr, *inter_key_ = nullptr, *leaf_key_ = nullptr;
    X509 *ca_ = nullptr, *other_ca_ = nullptr, *inter_ = nullptr;
    long serial_ = 0;
    int files_ = 0;
};

/* The accepting side: one engine context with its TLS context, serving the
 * connections of a scripted server one after the other (so that a session
 * cached on the first connection can be resumed on the second). */
class TlsPeer {
public:
    /* `keyfile`: chain and key; `flags`: ssl_flags of the accepting side;
     * `cafile`: to verify client certificates. */
    explicit TlsPeer(const std::string &keyfile, unsigned short flags = 0, const char *cafile = nullptr)
        : keyfile_(keyfile), cafile_(cafile ? cafile : "")
    {
        srv_ = soap_new();
        /* the scripted connection owns the descriptor: count closes only */
        srv_->user = this;
        srv_->fclosesocket = [](struct soap *soap, int) {
            static_cast<TlsPeer *>(soap->user)->closes_++;
            return 0;
        };
        ctx_error_ = soap_ssl_server_context(srv_, flags, keyfile_.c_str(), nullptr,
                                             cafile_.empty() ? nullptr : cafile_.c_str(), nullptr, nullptr, nullptr,
                                             "orvsoap-tests");
    }
    ~TlsPeer()
    {
        srv_->socket = -1;
        soap_end(srv_);
        soap_free(srv_);
    }
    TlsPeer(const TlsPeer &) = delete;
    TlsPeer &operator=(const TlsPeer &) = delete;

    int context_error() const { return ctx_error_; }
    struct soap *context() { return srv_; }

    /* The TLS handshake on the scripted connection; 0 or the engine's code. */
    int accept(ScriptedConn &c, int accept_timeout = 0)
    {
        srv_->socket = c.fd();
        /* as soap_accept sets it: without, small records wait for ACKs */
        int one = 1;
        setsockopt(c.fd(), IPPROTO_TCP, TCP_NODELAY, &one, sizeof(one));
        srv_->accept_timeout = accept_timeout;
        srv_->keep_alive = 0;
        int r = soap_ssl_accept(srv_);
        accepts_++;
        if (r) {
            last_error_ = r;
            detail_ = soap_check_faultdetail(srv_) ? soap_check_faultdetail(srv_) : "";
            srv_->socket = -1;
        } else {
            reused_ += SSL_session_reused(srv_->ssl) ? 1 : 0;
            encrypted_ += (srv_->imode & SOAP_ENC_SSL) && (srv_->omode & SOAP_ENC_SSL) ? 1 : 0;
            X509 *peer = SSL_get1_peer_certificate(srv_->ssl);
            peer_cert_ += peer ? 1 : 0;
            X509_free(peer);
        }
        return r;
    }

    /* Reads one HTTP request through TLS (head, then Content-Length bytes). */
    std::string read_request()
    {
        std::string got;
        size_t need = std::string::npos;
        char buf[4096];
        for (;;) {
            if (need == std::string::npos) {
                size_t end = got.find("\r\n\r\n");
                if (end != std::string::npos) {
                    need = end + 4;
                    std::string lower = got.substr(0, end);
                    for (auto &ch : lower)
                        ch = (char)tolower((unsigned char)ch);
                    size_t cl = lower.find("\r\ncontent-length:");
                    if (cl != std::string::npos)
                        need += strtoul(lower.c_str() + cl + 17, nullptr, 10);
                }
            }
            if (need != std::string::npos && got.size() >= need)
                return got;
            int n = read_some(buf, sizeof(buf));
            if (n <= 0)
                return got;
            got.append(buf, (size_t)n);
        }
    }

    void send(const std::string &bytes)
    {
        size_t off = 0;
        while (off < bytes.size()) {
            int n = SSL_write(srv_->ssl, bytes.data() + off, (int)(bytes.size() - off));
            if (n > 0) {
                off += (size_t)n;
                continue;
            }
            if (!wait_io(SSL_get_error(srv_->ssl, n)))
                return;
        }
    }

    /* Reads until the client closes; true when it sent a close_notify. */
    bool until_close()
    {
        char buf[4096];
        for (;;) {
            int n = SSL_read(srv_->ssl, buf, sizeof(buf));
            if (n > 0)
                continue;
            int e = SSL_get_error(srv_->ssl, n);
            if (e == SSL_ERROR_ZERO_RETURN) {
                close_notify_++;
                return true;
            }
            if (!wait_io(e))
                return false;
        }
    }

    /* Ends the TLS connection (the scripted connection closes the socket). */
    void finish()
    {
        if (srv_->ssl) {
            SSL_shutdown(srv_->ssl);
            SSL_free(srv_->ssl);
            srv_->ssl = nullptr;
        }
        srv_->socket = -1;
        ERR_clear_error();
    }

    /* Handshake, one request, one answer, wait for the client's close. */
    ScriptedServer::Handler serve(std::string response)
    {
        return [this, response](ScriptedConn &c) {
            if (accept(c))
                return;
            std::string req = read_request();
            {
                std::lock_guard<std::mutex> hold(mu_);
                requests_.push_back(req);
            }
            send(response);
            until_close();
            finish();
        };
    }

    std::string request(size_t i)
    {
        std::lock_guard<std::mutex> hold(mu_);
        return i < requests_.size() ? requests_[i] : std::string();
    }
    int accepts() const { return accepts_; }
    int reused() const { return reused_; }
    /* accepted connections whose modes were marked encrypted */
    int encrypted() const { return encrypted_; }
    int close_notifies() const { return close_notify_; }
    int peer_certs() const { return peer_cert_; }
    int last_error() const { return last_error_; }
    /* descriptors the engine closed on the accepting side */
    int closes() const { return closes_; }
    std::string detail() const { return detail_; }

private:
    int read_some(char *buf, int len)
    {
        for (;;) {
            int n = SSL_read(srv_->ssl, buf, len);
            if (n > 0)
                return n;
            if (!wait_io(SSL_get_error(srv_->ssl, n)))
                return 0;
        }
    }
    bool wait_io(int e)
    {
        int flags = e == SSL_ERROR_WANT_READ ? 1 : e == SSL_ERROR_WANT_WRITE ? 2 : 0;
        if (!flags)
            return false;
        return soap_socket_wait(srv_, srv_->socket, flags, 5) > 0;
    }

    std::string keyfile_, cafile_;
    struct soap *srv_;
    int ctx_error_;
    std::mutex mu_;
    std::vector<std::string> requests_;
    std::atomic<int> accepts_{0}, reused_{0}, close_notify_{0}, peer_cert_{0}, last_error_{0}, closes_{0}, encrypted_{0};
    std::string detail_;
};

#endif
