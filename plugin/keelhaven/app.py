"""The service's calls (`Api`) and the HTTP handler that carries them."""
import json
from http.server import BaseHTTPRequestHandler

from . import store

VERBS = frozenset(
    """get_view refresh tick rescan_local analyze get_analysis open_terminal dismiss_review hide_work_review exclude_repo
    include_repo include_project get_settings save_settings detect_roots get_context set_active_launch
    update_active_launch pushback_launch complete_launch save_vision set_project_status rename_project plugins_view
    plugin_action add_marketplace popular_plugins save_workspace delete_workspace link_workspace_slot
    delete_slot""".split()
)
CONTEXT_KEYS = ("status", "vision", "active_launch")
STATE_KEYS = ("commits_today", "days_idle", "latest_commit_date")
MAX_DRAINED_BYTES = 8 * 1024 * 1024


class ApiError(Exception):
    """A refusal: the HTTP status and the sentence for the user."""

    def __init__(self, status, message):
        super().__init__(message)
        self.status = status
        self.message = message


class Api:
    """Answers the calls. Keeps nothing between them, so calls may overlap."""

    def __init__(self, config):
        self.config = config

    def view(self):
        """The board's projects, in the order of the state file, then those that only the context file knows."""
        state = store.read_object(self.config.cache_dir / "state.json")
        context = store.read_object(self.config.cache_dir / "context.json")
        projects = store.as_object(state.get("projects"))
        order = state.get("project_order")
        wanted = [name for name in order if isinstance(name, str) and name in projects] if isinstance(order, list) else []
        names = dict.fromkeys([*wanted, *projects, *context])
        return {"projects": [self._project(name, projects.get(name), context.get(name)) for name in names]}

    def call(self, verb, parameters):
        if verb not in VERBS:
            raise ApiError(404, f"There is no call named “{verb}”.")
        raise ApiError(501, f"This version of the analysis service does not carry “{verb}” yet.")

    @staticmethod
    def _project(name, state, context):
        state, context = store.as_object(state), store.as_object(context)
        project = {"name": name, "display": context.get("display") or state.get("display") or name}
        project.update((key, context[key]) for key in CONTEXT_KEYS if context.get(key) is not None)
        project.update((key, state[key]) for key in STATE_KEYS if state.get(key) is not None)
        project["repos"] = list(store.as_object(state.get("repos")))
        return project


class _Handler(BaseHTTPRequestHandler):
    api: Api
    server_version = "keelhaven"
    timeout = 10  # seconds a client may keep its thread waiting

    def do_GET(self):
        self._answer(self._get)

    def do_POST(self):
        self._answer(self._post)

    def log_message(self, format, *args):
        """Nothing: the health check comes every few seconds and the log would only grow."""

    def _get(self):
        if self._path() != "/api/view":
            raise ApiError(404, "There is nothing at this address.")
        return self.api.view()

    def _post(self):
        prefix, _, verb = self._path().rpartition("/")
        if prefix != "/api":
            raise ApiError(404, "There is nothing at this address.")
        return self.api.call(verb, self._parameters())

    def _path(self):
        return self.path.partition("?")[0]

    def _parameters(self):
        length = self.headers.get("Content-Length", "0")
        if not (length.isascii() and length.isdigit()):
            raise ApiError(400, "The request does not tell the length of its body.")
        if int(length) > self.api.config.max_body_bytes:
            self._drain(int(length))
            raise ApiError(413, f"The body is larger than {self.api.config.max_body_bytes} bytes.")
        try:
            parameters = json.loads(self.rfile.read(int(length)) or b"{}")
        except (ValueError, RecursionError):
            raise ApiError(400, "The body is not JSON.") from None
        if not isinstance(parameters, dict):
            raise ApiError(400, "The body is not a JSON object.")
        return parameters

    def _drain(self, length):
        # Closing with unread bytes resets the connection, and the client would see that in place of the answer.
        left = min(length, MAX_DRAINED_BYTES)
        while left > 0 and (part := self.rfile.read(min(left, 65536))):
            left -= len(part)

    def _check_host(self):
        # A page whose host name was pointed at 127.0.0.1 must not read the board: it sends its own name here.
        host = self.headers.get("Host", "127.0.0.1").rpartition(":")[0] or self.headers.get("Host", "127.0.0.1")
        if host not in ("127.0.0.1", "localhost"):
            raise ApiError(403, "Only this machine may call the analysis service.")

    def _answer(self, work):
        try:
            self._check_host()
            status, value = 200, work()
        except ApiError as refusal:
            status, value = refusal.status, {"error": refusal.message}
        except TimeoutError:
            self.close_connection = True
            return
        body = json.dumps(value).encode()
        self.send_response(status)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)


def _make_handler(api):
    """The handler class for a threaded HTTP server whose calls go to `api`."""
    return type("Handler", (_Handler,), {"api": api})
