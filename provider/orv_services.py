"""Operations of the reference provider's Profile and ProblemReport services: the credentials check on
the message header, each operation against the store, and the response content it answers with.
Not the SOAP frame (orv_soap.py), not HTTP nor the misbehaviour modes (orv_http.py)."""

import copy
import secrets

from orv_soap import ORIGINATOR, SoapFault, app_fault, now_text
from orv_xml import E, P, PP, PR, PUO, XMLError, child, parse, q, serialize, set_single, sort_children, text_of

PROFILE_PATH = "/orv/v1.0/services/Profile"
REPORT_PATH = "/orv/v1.0/services/ProblemReport"

# Member order of the records whose children the provider rearranges (schema sequence order).
PROFILE_ORDER = [q(PP, "thisURI"), q(PP, "state"), q(PP, "contentInterpretation"), q(PP, "profileAuthority"),
                 q(P, "identity"), q(P, "contact"), q(P, "credentials"), q(PP, "association"), q(PP, "profile")]
REPORT_ORDER = [q(PR, "thisURI"), q(PR, "state"), q(PR, "clientURI"), q(PR, "test"),
                q(PR, "contentInterpretation"), q(P, "subject"), q(P, "subjectLocation"),
                q(PR, "subjectLocationId"), q(P, "subjectEnvironment"), q(PR, "problemType"), q(PR, "title"),
                q(PR, "problemDescription"), q(PR, "occurrenceDateTime"), q(PR, "submitDateTime"),
                q(PR, "lastModifiedDateTime"), q(PR, "severity"), q(PR, "impact"), q(PR, "impactDescription"),
                q(PR, "actionTaken"), q(PR, "answerPreference"), q(PR, "serviceAgreement"),
                q(PR, "languagePreference"), q(PR, "moreDataExpected"), q(PR, "reference"), q(PR, "notes"),
                q(PR, "richNotes"), q(P, "beneficiary"), q(P, "submitter"), q(P, "submitterLocation"),
                q(P, "contact"), q(P, "acl"), q(PR, "serviceProviderReport"), q(PR, "processTime"),
                q(PR, "answer"), q(PR, "problemReport"), q(P, "attachment"), q(P, "error")]
ATTACHMENT_ORDER = [q(P, n) for n in (
    "thisURI", "state", "description", "descriptor", "type", "size", "dateTime", "reference", "language",
    "languageDetail", "extendedAttributes", "metaData", "dataURI", "data", "dataHandler", "dataPort", "error",
    "sequenceNumber", "attachment")]
CREDENTIALS_ORDER = [q(P, n) for n in (
    "state", "name", "nameDetails", "id", "customerNumber", "enterpriseNumber", "serviceAgreement", "country",
    "username", "manufacturer", "machineType", "model", "serialNumber", "partitionId", "password",
    "certificate", "key", "token", "authority", "expiration")]
HEADER_ORDER = [q(P, n) for n in (
    "targetURI", "compoundTargetURI", "credentials", "transactionId", "sequenceId", "correlationId",
    "dateTime", "priority", "reciprocity", "version", "connectionInformation", "note", "compliance")]

PROFILE_REPEATED = {q(P, "contact"), q(P, "credentials"), q(PP, "association"), q(PP, "profile")}
TRANSPORTS = ("HTTP", "FTP", "HTTPS", "FTPS", "DDP", "inBandSOAPAttachment", "inBandEmbedded")


def header_target(env):
    """The target URI named by the message header: targetURI, else the first compoundTargetURI uri."""
    h = env.block(q(P, "header"))
    if h is None:
        return None
    t = text_of(h, q(P, "targetURI"))
    if t is None:
        c = child(h, q(P, "compoundTargetURI"))
        t = text_of(c, q(P, "uri")) if c is not None else None
    return t


class Call:
    """One request as the operations see it."""

    def __init__(self, env, target, attachments=None):
        self.env = env
        self.attachments = attachments or {}      # MIME parts that came with the request, by content id
        self.version = env.version
        self.target = target
        self.header = env.block(q(P, "header"))
        self.transaction_id = text_of(self.header, q(P, "transactionId"))
        self.body = env.body_children[0] if env.body_children else None


def _bool(text):
    return text is not None and text.strip() in ("1", "true")


class Services:
    def __init__(self, store, user="daemon", password="secret", check_auth=True, base_url="http://127.0.0.1"):
        self.store = store
        self.user = user
        self.password = password
        self.check_auth = check_auth
        self.base_url = base_url
        self.ops = {
            PROFILE_PATH: {
                q(PP, "createRequest"): ("createResponse", self.profile_create),
                q(PP, "getRequest"): ("getResponse", self.profile_get),
                q(PP, "setRequest"): ("setResponse", self.profile_set),
                q(PP, "addRequest"): ("addResponse", self.profile_add),
                q(PP, "refreshCredentialsRequest"): ("refreshCredentialsResponse", self.profile_refresh),
                q(PP, "removeRequest"): ("removeResponse", self.profile_remove),
            },
            REPORT_PATH: {
                q(PR, "getRequest"): ("getResponse", self.report_get),
                q(PR, "submitRequest"): ("submitResponse", self.report_submit),
                q(PR, "attachRequest"): ("attachResponse", self.report_attach),
                q(PR, "attachStatusRequest"): ("attachStatusResponse", self.report_attach_status),
                q(PR, "removeRequest"): ("removeResponse", self.report_remove),
            },
        }

    # ---- entry point -------------------------------------------------------------------------------

    def handle(self, path, call):
        """Runs the operation; returns (response element, URI of the object it concerns).
        Raises SoapFault for every refusal."""
        ops = self.ops[path]
        if call.body is None:
            raise SoapFault(True, "No XML root element",
                            app_fault("Client.InvalidRequest", "the body holds no request element",
                                      transaction_id=call.transaction_id))
        entry = ops.get(call.body.tag)
        if entry is None:
            name = call.body.tag.split("}")[-1]
            raise SoapFault(True, "Method '%s' not implemented: method name or namespace not recognized" % name,
                            app_fault("Client.InvalidRequest", "no operation '%s' at %s" % (name, path),
                                      transaction_id=call.transaction_id))
        self.authorize(call)
        response_name, op = entry
        ns = PP if path == PROFILE_PATH else PR
        content, uri = op(call)
        content.tag = q(ns, response_name)
        content.attrib.clear()
        return content, uri

    def authorize(self, call):
        if not self.check_auth:
            return
        creds = call.header.findall(q(P, "credentials")) if call.header is not None else []
        if not creds:
            raise SoapFault(True, "Not authorized: no credentials in the message header",
                            app_fault("Client.Authentication.NotAuthorized", "the header carries no credentials",
                                      E(q(P, "authorityGroup"), E(q(P, "authority"), text=ORIGINATOR)),
                                      transaction_id=call.transaction_id))
        for c in creds:
            if text_of(c, q(P, "username")) == self.user and text_of(c, q(P, "password")) == self.password:
                if text_of(c, q(P, "state")) == "expired":
                    raise SoapFault(True, "Credentials expired",
                                    app_fault("Client.Authentication.CredentialsExpired",
                                              "the credentials are marked expired",
                                              self._echo_credentials(c, "expired"),
                                              transaction_id=call.transaction_id))
                return
        raise SoapFault(True, "Not authorized: user name or password not accepted",
                        app_fault("Client.Authentication.NotAuthorized", "user name or password not accepted",
                                  [self._echo_credentials(c, "invalid") for c in creds],
                                  E(q(P, "authorityGroup"), E(q(P, "authority"), text=ORIGINATOR)),
                                  transaction_id=call.transaction_id))

    @staticmethod
    def _echo_credentials(c, state):
        """Credentials as they may be shown back: the state set, password, key and token left out."""
        e = E(q(P, "credentials"))
        for k in c:
            if k.tag not in (q(P, "password"), q(P, "key"), q(P, "token"), q(P, "state")):
                e.append(copy.deepcopy(k))
        e.append(E(q(P, "state"), text=state))
        return sort_children(e, CREDENTIALS_ORDER)

    # ---- helpers -----------------------------------------------------------------------------------

    def not_found(self, call, uri):
        if not uri:
            return SoapFault(True, "No target: the header names no targetURI",
                             app_fault("Client.InsufficientInformation", "the request names no target object",
                                       transaction_id=call.transaction_id))
        return SoapFault(True, "Object not found: %s" % uri,
                         app_fault("Client.ObjectNotFound", "no object with this URI", E(q(P, "uri"), text=uri),
                                   transaction_id=call.transaction_id))

    def load(self, call, kind, uri):
        xml = self.store.get(kind, uri) if uri else None
        if xml is None:
            raise self.not_found(call, uri)
        try:
            return parse(xml.encode("utf-8"))
        except XMLError as e:
            raise SoapFault(False, "Stored object unreadable",
                            app_fault("Server.Processing", "stored object %s is damaged: %s" % (uri, e),
                                      transaction_id=call.transaction_id))

    def save(self, kind, uri, elem):
        self.store.put(kind, uri, serialize(elem, declare=True))

    def create(self, kind, prefix, build):
        """Stores a new object; build(uri) gives its element. Returns (element, uri)."""
        made = []

        def make_xml(uri):
            e = build(uri)
            made.append(e)
            return serialize(e, declare=True)

        uri, _ = self.store.create(kind, lambda n: "%s%d" % (prefix, n), make_xml)
        return made[0], uri

    @staticmethod
    def content_copy(elem, drop=()):
        e = E(q(PP, "content"))
        for c in elem:
            if c.tag not in drop:
                e.append(copy.deepcopy(c))
        return e

    # ---- Profile -----------------------------------------------------------------------------------

    def profile_create(self, call):
        src = self.content_copy(call.body, drop=(q(PP, "thisURI"), q(PP, "state")))
        if src.find(q(P, "credentials")) is None and call.header is not None:
            for c in call.header.findall(q(P, "credentials")):
                src.append(self._echo_credentials(c, "valid"))

        def build(uri):
            e = copy.deepcopy(src)
            e.append(E(q(PP, "thisURI"), text=uri))
            e.append(E(q(PP, "state"), text="active"))
            return sort_children(e, PROFILE_ORDER)

        return self.create("profile", "urn:orv:profile:", build)

    def profile_get(self, call):
        return self.load(call, "profile", call.target), call.target

    def _profile_target(self, call):
        return text_of(call.body, q(PP, "thisURI")) or call.target

    def profile_set(self, call):
        uri = self._profile_target(call)
        old = self.load(call, "profile", uri)
        e = self.content_copy(call.body, drop=(q(PP, "thisURI"),))
        e.insert(0, E(q(PP, "thisURI"), text=uri))
        if e.find(q(PP, "state")) is None:
            e.append(E(q(PP, "state"), text=text_of(old, q(PP, "state"), "active")))
        sort_children(e, PROFILE_ORDER)
        self.save("profile", uri, e)
        return e, uri

    def profile_add(self, call):
        uri = self._profile_target(call)
        e = self.load(call, "profile", uri)
        for c in call.body:
            if c.tag in (q(PP, "thisURI"), q(PP, "state")):
                continue
            if c.tag not in PROFILE_REPEATED:
                for old in e.findall(c.tag):
                    e.remove(old)
            e.append(copy.deepcopy(c))
        sort_children(e, PROFILE_ORDER)
        self.save("profile", uri, e)
        return e, uri

    def profile_refresh(self, call):
        given = child(call.body, q(PP, "credentials"))
        uri = call.target
        if not uri and given is not None:
            name = text_of(given, q(P, "username"))
            for u, xml in self.store.all("profile"):
                stored = parse(xml.encode("utf-8"))
                if name and any(text_of(c, q(P, "username")) == name for c in stored.findall(q(P, "credentials"))):
                    uri = u
                    break
        e = self.load(call, "profile", uri)
        base = given if given is not None else child(e, q(P, "credentials"))
        fresh = E(q(P, "credentials"))
        if base is not None:
            for k in base:
                if k.tag not in (q(P, "state"), q(P, "password"), q(P, "token"), q(P, "expiration"),
                                 q(P, "authority"), q(P, "key"), q(P, "certificate")):
                    fresh.append(copy.deepcopy(k))
        fresh.append(E(q(P, "state"), text="valid"))
        fresh.append(E(q(P, "password"), text="pw-" + secrets.token_hex(8)))
        fresh.append(E(q(P, "token"), text=secrets.token_hex(16)))
        fresh.append(E(q(P, "authority"), text=ORIGINATOR))
        fresh.append(E(q(P, "expiration"), text=now_text(365 * 86400)))
        sort_children(fresh, CREDENTIALS_ORDER)
        for old in e.findall(q(P, "credentials")):
            e.remove(old)
        e.append(fresh)
        sort_children(e, PROFILE_ORDER)
        self.save("profile", uri, e)
        return e, uri

    def profile_remove(self, call):
        uri = self._profile_target(call)
        e = self.load(call, "profile", uri)
        self.store.remove("profile", uri)
        set_single(e, q(PP, "state"), "closed", PROFILE_ORDER)
        return e, uri

    # ---- ProblemReport -----------------------------------------------------------------------------

    def report_submit(self, call):
        src = self.content_copy(call.body, drop=(q(PR, "thisURI"), q(PR, "state")))

        def build(uri):
            n = uri.rsplit(":", 1)[-1]
            e = copy.deepcopy(src)
            e.append(E(q(PR, "thisURI"), text=uri))
            e.append(E(q(PR, "state"), text="submitted"))
            if e.find(q(PR, "submitDateTime")) is None:
                e.append(E(q(PR, "submitDateTime"), text=now_text()))
            e.append(E(q(PR, "serviceProviderReport"),
                       E(q(PR, "id"), text="SP-%s" % n),
                       E(q(PR, "authority"), text=ORIGINATOR),
                       E(q(PR, "state"), text="queued")))
            e.append(E(q(PR, "answer"),
                       E(q(PR, "description"), text="Report received"),
                       xsi_type=q(PR, "Answer.Server.Administration.Acknowledgment")))
            return sort_children(e, REPORT_ORDER)

        return self.create("report", "urn:orv:problemreport:", build)

    def report_get(self, call):
        e = self.load(call, "report", call.target)
        if e.find(q(PR, "processTime")) is None:
            e.append(E(q(PR, "processTime"), text="PT5M"))
        for a in self.provider_answers():
            e.append(a)
        return sort_children(e, REPORT_ORDER), call.target

    @staticmethod
    def provider_answers():
        """The answers the provider has for every report it hands back: derived kinds, each by xsi:type."""
        def A(local):
            return q(PR, local)

        install = E(A("action"),
                    E(A("description"), text="Install the permanent fix for the fan controller"),
                    E(A("actionDateTime"), text="2024-05-02T08:00:00Z"),
                    E(A("timing"), text="afterProblemOccurrence"),
                    E(A("intention"), text="resolveProblem"),
                    E(A("intention"), text="workaroundProblem"),
                    E(A("result"), text="problemResolved"),
                    E(A("reference"), E(A("description"), text="fix confirmed by the lab"),
                      xsi_type=A("Answer.Server.Administration.Acknowledgment")),
                    E(A("originator"), text=ORIGINATOR),
                    E(A("notes"), text="reboot after install"),
                    E(A("updateInformation"),
                      E(A("product"), text="FAN-CTRL"),
                      E(A("updateId"), text="U-2024-001"),
                      E(A("updateIdQualifier"), text="firmware"),
                      E(A("updateMetaData"),
                        E(q(PUO, "updateId"), text="U-2024-001"),
                        E(q(PUO, "name"), text="Fan controller firmware"),
                        E(q(PUO, "version"), text="2.1")),
                      E(A("confidence"), text="90")),
                    xsi_type=A("Action.Update.Install.Permanent"))
        ship = E(A("action"),
                 E(A("description"), text="Replacement fan shipped"),
                 E(A("result"), text="noChange"),
                 E(A("partInformation"),
                   E(A("type"), text="fan"),
                   E(A("product"), text="FAN-CTRL"),
                   E(A("partId"), text="P-4711"),
                   E(A("confidence"), text="75")),
                 xsi_type=A("Action.Part.Ship"))
        return [
            E(A("answer"), E(A("description"), text="Install update U-2024-001"), install,
              xsi_type=A("Answer.Server.Action")),
            E(A("answer"), E(A("description"), text="A part is on its way"), ship,
              xsi_type=A("Answer.Server.Action")),
            E(A("answer"), E(A("description"), text="Same problem reported before"),
              E(A("reference"), E(A("id"), text="SP-0001"), E(A("authority"), text=ORIGINATOR),
                E(A("state"), text="closed")),
              xsi_type=A("Answer.Server.Administration.Duplicate")),
        ]

    def report_attach(self, call):
        uri = call.target
        e = self.load(call, "report", uri)
        given = child(call.body, q(PR, "attachment"))
        if given is None:
            raise SoapFault(True, "No attachment in the request",
                            app_fault("Client.InsufficientInformation", "attachRequest names no attachment",
                                      transaction_id=call.transaction_id))
        k = len(e.findall(q(P, "attachment"))) + 1
        a_uri = "%s/attachment/%d" % (uri, k)
        a = E(q(P, "attachment"))
        for c in given:
            if c.tag not in (q(P, "thisURI"), q(P, "state"), q(P, "dataPort")):
                a.append(copy.deepcopy(c))
        pref = child(call.body, q(PR, "dataPortPreference"))
        transport = "HTTPS"
        if pref is not None:
            wished = [t.text.strip() for t in pref.findall(q(P, "transport")) if t.text]
            transport = next((t for t in wished if t in TRANSPORTS), transport)
        a.append(E(q(P, "thisURI"), text=a_uri))
        handler = text_of(given, q(P, "dataHandler"))
        cid = handler[4:] if handler and handler.startswith("cid:") else None
        if cid is not None and cid in call.attachments:
            # The data came along as a MIME part: nothing left to transfer.
            a.append(E(q(P, "state"), text="complete"))
            set_single(a, q(P, "size"), str(len(call.attachments[cid])), ATTACHMENT_ORDER)
            sort_children(a, ATTACHMENT_ORDER)
            e.append(a)
            sort_children(e, REPORT_ORDER)
            self.save("report", uri, e)
            return e, uri
        a.append(E(q(P, "state"), text="pending"))
        a.append(E(q(P, "dataPort"),
                   E(q(P, "state"), text="open"),
                   E(q(P, "description"), text="upload the attachment data here"),
                   E(q(P, "attachmentURI"), text=a_uri),
                   E(q(P, "dataURI"), text="%s/orv/v1.0/upload/%s/%d" % (self.base_url, uri.rsplit(":", 1)[-1], k)),
                   E(q(P, "direction"), text="in"),
                   E(q(P, "transport"), text=transport),
                   E(q(P, "authentication"),
                     E(q(P, "username"), text="upload"),
                     E(q(P, "password"), text=secrets.token_hex(6))),
                   E(q(P, "persistence"), text=now_text(86400))))
        sort_children(a, ATTACHMENT_ORDER)
        e.append(a)
        sort_children(e, REPORT_ORDER)
        self.save("report", uri, e)
        return e, uri

    def report_attach_status(self, call):
        a_uri = text_of(call.body, q(P, "attachmentURI"))
        uri = call.target or (a_uri.split("/attachment/")[0] if a_uri and "/attachment/" in a_uri else None)
        e = self.load(call, "report", uri)
        target = None
        for a in e.findall(q(P, "attachment")):
            if text_of(a, q(P, "thisURI")) == a_uri:
                target = a
        if target is None:
            raise self.not_found(call, a_uri or uri)
        state = text_of(call.body, q(P, "recommendedAttachmentState"))
        if state is None:
            if _bool(text_of(call.body, q(P, "problemEncountered"))):
                state = "error"
            else:
                try:
                    done = float(text_of(call.body, q(P, "percentComplete"), "0")) >= 100.0
                except ValueError:
                    done = False
                state = "complete" if done else "pending"
        set_single(target, q(P, "state"), state, ATTACHMENT_ORDER)
        size = text_of(call.body, q(P, "sizeTransferred"))
        if size is not None:
            set_single(target, q(P, "size"), size, ATTACHMENT_ORDER)
        self.save("report", uri, e)
        return e, uri

    def report_remove(self, call):
        uri = text_of(call.body, q(PR, "thisURI")) or call.target
        e = self.load(call, "report", uri)
        self.store.remove("report", uri)
        set_single(e, q(PR, "state"), "closed", REPORT_ORDER)
        return e, uri

    # ---- response header ---------------------------------------------------------------------------

    @staticmethod
    def response_header(call, uri, full=False, must_understand_attr=None):
        h = E(q(P, "header"))
        if uri:
            h.append(E(q(P, "targetURI"), text=uri))
        if call is not None and call.transaction_id:
            h.append(E(q(P, "correlationId"), text=call.transaction_id))
        h.append(E(q(P, "dateTime"), text=now_text()))
        if full:
            h.append(E(q(P, "transactionId"), text="prov-" + secrets.token_hex(4)))
            h.append(E(q(P, "version"), E(q(P, "item"), text="provider"), E(q(P, "value"), text="1.0")))
            h.append(E(q(P, "note"), text="answered by the reference provider"))
            if must_understand_attr:
                h.set(must_understand_attr, "1")
        return sort_children(h, HEADER_ORDER)
