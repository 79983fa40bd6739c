"""The plugin's MCP server: JSON-RPC 2.0 on the standard streams, one message a line.

A session starts it with the session itself and most sessions never call it, so it reaches for no more than the hooks do.
It keeps nothing between messages and ends when its input does.
"""
import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(os.path.dirname(HERE), "hooks")]  # -I leaves the script's own folder out

import event_hook  # noqa: E402
import journal_tools  # noqa: E402

NAME = "keelhaven"
VERSION = "0.1.0"
PROTOCOL_VERSIONS = ("2025-11-25", "2025-06-18", "2024-11-05")  # newest first
MAX_MESSAGE_BYTES = 4 * 1024 * 1024
PARSE_ERROR, INVALID_REQUEST, METHOD_NOT_FOUND, INVALID_PARAMS, INTERNAL_ERROR = -32700, -32600, -32601, -32602, -32603


class RpcError(Exception):
    def __init__(self, code, message):
        super().__init__(message)
        self.code = code


def initialize(parameters):
    wanted = parameters.get("protocolVersion")
    if not isinstance(wanted, str):
        raise RpcError(INVALID_PARAMS, "protocolVersion is missing.")
    return {
        # A client that cannot work with the newest one hangs up.
        "protocolVersion": wanted if wanted in PROTOCOL_VERSIONS else PROTOCOL_VERSIONS[0],
        "capabilities": {"tools": {}},
        "serverInfo": {"name": NAME, "version": VERSION},
    }


def ping(parameters):
    return {}


def list_tools(parameters):
    if parameters.get("cursor") is not None:
        raise RpcError(INVALID_PARAMS, "There is no such page.")
    return {"tools": journal_tools.listing()}


def call_tool(parameters):
    name, arguments = parameters.get("name"), parameters.get("arguments")
    if not isinstance(name, str) or name not in journal_tools.TOOLS:
        raise RpcError(INVALID_PARAMS, f"There is no tool named “{name}”.")
    if arguments is not None and not isinstance(arguments, dict):
        raise RpcError(INVALID_PARAMS, "The arguments are no object.")
    try:
        text, is_error = journal_tools.call(name, arguments or {}), False
    except journal_tools.Refusal as refusal:
        text, is_error = str(refusal), True  # the model reads it and may try again, unlike a protocol error
    return {"content": [{"type": "text", "text": text}], "isError": is_error}


METHODS = {"initialize": initialize, "ping": ping, "tools/list": list_tools, "tools/call": call_tool}


def answer(line):
    """The reply to one line of input; None where there is none."""
    identifier = None
    try:
        message = parse(line)
        identifier = id_of(message)
        if is_reply(message) or "id" not in message and isinstance(message.get("method"), str):
            return None  # notifications, whatever they are, get no reply
        result = METHODS[method_of(message, identifier)](parameters_of(message))
    except RpcError as error:
        return reply(identifier, error={"code": error.code, "message": str(error)})
    except Exception as error:
        return reply(identifier, error={"code": INTERNAL_ERROR, "message": f"The server failed: {error}"})
    return reply(identifier, result=result)


def reply(identifier, **outcome):
    return {"jsonrpc": "2.0", "id": identifier} | outcome


def parse(line):
    try:
        message = event_hook.parse(line.decode("utf-8"))
    except (ValueError, RecursionError):
        raise RpcError(PARSE_ERROR, "The line is not JSON.") from None
    if not isinstance(message, dict) or message.get("jsonrpc") != "2.0":
        raise RpcError(INVALID_REQUEST, "The message is no JSON-RPC 2.0 object.")
    return message


def id_of(message):
    identifier = message.get("id")
    return identifier if isinstance(identifier, (str, int)) and not isinstance(identifier, bool) else None


def is_reply(message):
    return "method" not in message and ("result" in message or "error" in message)


def method_of(message, identifier):
    method = message.get("method")
    if identifier is None or not isinstance(method, str):
        raise RpcError(INVALID_REQUEST, "The request needs a method and an id that is a text or a whole number.")
    if method not in METHODS:
        raise RpcError(METHOD_NOT_FOUND, f"There is no method “{method}”.")
    return method


def parameters_of(message):
    parameters = message.get("params")
    if parameters is None:
        return {}
    if not isinstance(parameters, dict):
        raise RpcError(INVALID_PARAMS, "The parameters are no object.")
    return parameters


def lines(stream):
    """The lines of the input without the blank ones. One that is too long comes cut, which makes it no JSON."""
    while line := stream.readline(MAX_MESSAGE_BYTES):
        rest = line
        while len(rest) == MAX_MESSAGE_BYTES and not rest.endswith(b"\n"):
            rest = stream.readline(MAX_MESSAGE_BYTES)
        if line.strip():
            yield line


def main():
    os.umask(0o077)
    for line in lines(sys.stdin.buffer):
        message = answer(line)
        if message:
            sys.stdout.buffer.write(event_hook.encode(message))
            sys.stdout.buffer.flush()


if __name__ == "__main__":
    try:
        main()
    except (KeyboardInterrupt, BrokenPipeError):
        pass
    os._exit(0)  # nothing is left to flush, and nobody may be there to read a complaint
