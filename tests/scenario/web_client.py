"""What the web scenarios do: a browser in the LAN or on the internet."""

import urllib.error
import urllib.parse
import urllib.request

from conftest import PATIENCE, wait_until

ADDRESS = "192.168.1.1"


class OneLogin(urllib.request.HTTPDigestAuthHandler):
    """Does not try a login that was refused again and again: the server lets every one wait."""

    def retry_http_digest_auth(self, req, auth):
        return None if req.has_header(self.auth_header) else super().retry_http_digest_auth(req, auth)


def fetch(router, path, user=None, network="lan", address=ADDRESS, port=8000, timeout=PATIENCE):
    """The status and the body; with `user` (name, password) a digest login is tried when it is asked for."""
    url = f"http://{address}:{port}{urllib.parse.quote(path, safe='/%')}"
    handlers = [urllib.request.ProxyHandler({})]
    if user:
        passwords = urllib.request.HTTPPasswordMgrWithDefaultRealm()
        passwords.add_password(None, url, *user)
        handlers.append(OneLogin(passwords))
    with router.network(network):
        try:
            with urllib.request.build_opener(*handlers).open(url, timeout=timeout) as answer:
                return answer.status, answer.read()
        except urllib.error.HTTPError as refusal:
            return refusal.code, refusal.read()


def answers(router, network="lan", address=ADDRESS, port=8000):
    """Whether anything at all is served there."""
    try:
        # not for ever: the gateway drops what it does not map
        return fetch(router, "/kelsto.html", network=network, address=address, port=port, timeout=5)[0] == 200
    except OSError:
        return False


def wait_for_server(router, **where):
    wait_until(lambda: answers(router, **where), f"the web server answers: {where}")
