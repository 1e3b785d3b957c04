#!/usr/bin/env python3
"""Time-stamps a file at an RFC 3161 authority over HTTP and checks the token, through the zttsp C
interface from Python's standard library alone (ctypes, hashlib, urllib): any language that can
call C functions can use the library the same way.

    python3 timestamp_file.py FILE --url http://127.0.0.1:3161/ --cert tsa.pem \
        [--library path/to/libzttsp.so] [--out FILE.tsr]

--cert is the authority's certificate (PEM or DER): the token must be signed with its key. Exits 0
when the authority granted a token over the file's SHA-256 for this very request (imprint and
nonce) and its signature verifies; prints what the token says.
"""
import argparse
import ctypes
import ctypes.util
import hashlib
import os
import ssl
import sys
import urllib.request

ZTTSP_OK = 0
ZTTSP_OID_SHA256 = b"2.16.840.1.101.3.4.2.1"
GRANTED = (0, 1)  # granted, grantedWithMods


class ZttspError(Exception):
    def __init__(self, function, code, message):
        super().__init__(f"{function} failed (0x{code & 0xFFFFFFFF:08X}): {message}")
        self.code = code & 0xFFFFFFFF


class Zttsp:
    """The C functions this client calls, declared for ctypes; failures raise ZttspError."""

    HANDLE = ctypes.c_void_p
    BYTES = ctypes.POINTER(ctypes.c_uint8)
    SIGNATURES = {
        "zttsp_request_new": [ctypes.c_char_p, ctypes.c_char_p, ctypes.c_size_t, ctypes.POINTER(HANDLE)],
        "zttsp_request_set_nonce": [HANDLE, ctypes.c_char_p, ctypes.c_size_t],
        "zttsp_request_set_cert_req": [HANDLE, ctypes.c_int],
        "zttsp_request_get_nonce": [HANDLE, ctypes.POINTER(BYTES), ctypes.POINTER(ctypes.c_size_t)],
        "zttsp_request_encode": [HANDLE, ctypes.POINTER(BYTES), ctypes.POINTER(ctypes.c_size_t)],
        "zttsp_request_release": [HANDLE],
        "zttsp_response_decode": [ctypes.c_char_p, ctypes.c_size_t, ctypes.POINTER(HANDLE)],
        "zttsp_response_get_status": [HANDLE, ctypes.POINTER(ctypes.c_int32)],
        "zttsp_response_get_status_text": [HANDLE, ctypes.POINTER(ctypes.c_void_p)],
        "zttsp_response_get_token": [HANDLE, ctypes.POINTER(HANDLE)],
        "zttsp_response_release": [HANDLE],
        "zttsp_token_verify": [HANDLE, ctypes.c_char_p, ctypes.c_size_t],
        "zttsp_token_get_hash": [HANDLE, ctypes.POINTER(BYTES), ctypes.POINTER(ctypes.c_size_t)],
        "zttsp_token_get_nonce": [HANDLE, ctypes.POINTER(BYTES), ctypes.POINTER(ctypes.c_size_t)],
        "zttsp_token_get_serial": [HANDLE, ctypes.POINTER(BYTES), ctypes.POINTER(ctypes.c_size_t)],
        "zttsp_token_get_gen_time_text": [HANDLE, ctypes.POINTER(ctypes.c_void_p)],
        "zttsp_token_get_policy": [HANDLE, ctypes.POINTER(ctypes.c_void_p)],
        "zttsp_token_get_tsa_name": [HANDLE, ctypes.POINTER(ctypes.c_void_p)],
        "zttsp_token_encode": [HANDLE, ctypes.POINTER(BYTES), ctypes.POINTER(ctypes.c_size_t)],
        "zttsp_token_release": [HANDLE],
        "zttsp_free": [ctypes.c_void_p],
    }

    def __init__(self, path):
        self.lib = ctypes.CDLL(path)
        self.lib.zttsp_last_error_message.restype = ctypes.c_char_p
        self.lib.zttsp_last_error_message.argtypes = []
        for name, argtypes in self.SIGNATURES.items():
            function = getattr(self.lib, name)
            function.restype = ctypes.c_int32
            function.argtypes = argtypes

    def call(self, name, *args):
        result = getattr(self.lib, name)(*args)
        if result != ZTTSP_OK:
            raise ZttspError(name, result, self.lib.zttsp_last_error_message().decode())

    def new_handle(self, name, *args):
        handle = self.HANDLE()
        self.call(name, *args, ctypes.byref(handle))
        return handle

    def bytes_of(self, name, handle):
        """Bytes the library hands out, copied and freed; None when absent."""
        data, length = self.BYTES(), ctypes.c_size_t()
        self.call(name, handle, ctypes.byref(data), ctypes.byref(length))
        if not data:
            return None
        try:
            return ctypes.string_at(data, length.value)
        finally:
            self.call("zttsp_free", ctypes.cast(data, ctypes.c_void_p))

    def text_of(self, name, handle):
        text = ctypes.c_void_p()
        self.call(name, handle, ctypes.byref(text))
        if not text:
            return None
        try:
            return ctypes.string_at(text).decode()
        finally:
            self.call("zttsp_free", text)


def default_library():
    return os.environ.get("ZTTSP_LIBRARY") or ctypes.util.find_library("zttsp") or "libzttsp.so"


def certificate_der(path):
    with open(path, "rb") as f:
        data = f.read()
    return ssl.PEM_cert_to_DER_cert(data.decode()) if b"-----BEGIN" in data else data


def timestamp(zttsp, data_path, url, certificate):
    with open(data_path, "rb") as f:
        digest = hashlib.sha256(f.read()).digest()

    request = zttsp.new_handle("zttsp_request_new", ZTTSP_OID_SHA256, digest, len(digest))
    response = token = None
    try:
        zttsp.call("zttsp_request_set_nonce", request, os.urandom(8), 8)
        zttsp.call("zttsp_request_set_cert_req", request, 1)
        query = zttsp.bytes_of("zttsp_request_encode", request)
        asked_nonce = zttsp.bytes_of("zttsp_request_get_nonce", request)

        http = urllib.request.Request(url, data=query,
                                      headers={"Content-Type": "application/timestamp-query"})
        with urllib.request.urlopen(http, timeout=30) as answer:
            reply = answer.read()

        response = zttsp.new_handle("zttsp_response_decode", reply, len(reply))
        status = ctypes.c_int32()
        zttsp.call("zttsp_response_get_status", response, ctypes.byref(status))
        if status.value not in GRANTED:
            text = zttsp.text_of("zttsp_response_get_status_text", response)
            sys.exit(f"refused: status {status.value}: {text}")
        token = zttsp.new_handle("zttsp_response_get_token", response)
        if not token:
            sys.exit("a granted response without a token")

        zttsp.call("zttsp_token_verify", token, certificate, len(certificate))
        if zttsp.bytes_of("zttsp_token_get_hash", token) != digest:
            sys.exit("the token stamps another hash than the file's")
        if zttsp.bytes_of("zttsp_token_get_nonce", token) != asked_nonce:
            sys.exit("the token answers another request (nonce)")

        print("verified: token over the file's SHA-256, signed by the authority")
        print("genTime:", zttsp.text_of("zttsp_token_get_gen_time_text", token))
        print("serial:", zttsp.bytes_of("zttsp_token_get_serial", token).hex())
        print("policy:", zttsp.text_of("zttsp_token_get_policy", token))
        print("tsa:", zttsp.text_of("zttsp_token_get_tsa_name", token) or "(not named)")
        return zttsp.bytes_of("zttsp_token_encode", token)
    finally:
        zttsp.call("zttsp_token_release", token)
        zttsp.call("zttsp_response_release", response)
        zttsp.call("zttsp_request_release", request)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("file")
    parser.add_argument("--url", required=True, help="the authority, e.g. http://127.0.0.1:3161/")
    parser.add_argument("--cert", required=True, help="the authority's certificate, PEM or DER")
    parser.add_argument("--library", default=default_library(), help="libzttsp to load")
    parser.add_argument("--out", help="where to keep the token (DER)")
    args = parser.parse_args()

    try:
        token = timestamp(Zttsp(args.library), args.file, args.url, certificate_der(args.cert))
    except (ZttspError, OSError) as error:
        sys.exit(f"timestamp_file: {error}")
    if args.out:
        with open(args.out, "wb") as f:
            f.write(token)


if __name__ == "__main__":
    main()
