"""In a namespace with a network of its own: what a camera says to its network by itself.

listen.py

Says "listening" when it listens. Asks the camera for its address when that has come, and writes what it
was told as one line of JSON when the camera has gone.
"""

import json
import re
import socket
import sys

GROUP = ("239.255.255.250", 3702)
OWN = socket.inet_aton("127.0.0.1")
PATIENCE = 60  # seconds
RESOLVE = """<s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope"
 xmlns:a="http://schemas.xmlsoap.org/ws/2004/08/addressing"
 xmlns:d="http://schemas.xmlsoap.org/ws/2005/04/discovery"><s:Header><a:MessageID>urn:uuid:7</a:MessageID>
 </s:Header><s:Body><d:Resolve><a:EndpointReference><a:Address>{}</a:Address></a:EndpointReference>
 </d:Resolve></s:Body></s:Envelope>"""


def text_of(message, name):
    found = re.search(rf"<\w+:{name}(?: [^>]*)?>([^<]*)</", message)
    return found and found[1]


def heard(listener, name):
    """The next message with that in its body."""
    while True:
        message = listener.recv(65536).decode()
        if re.search(rf"<\w+:{name}>", message):
            return {"endpoint": text_of(message, "Address"), "address": text_of(message, "XAddrs"),
                    "to": text_of(message, "To"), "answers": text_of(message, "RelatesTo")}


def main():
    listener = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    for option in (socket.SO_REUSEADDR, socket.SO_REUSEPORT):
        listener.setsockopt(socket.SOL_SOCKET, option, 1)
    listener.bind(GROUP)
    listener.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, socket.inet_aton(GROUP[0]) + OWN)
    listener.settimeout(PATIENCE)
    print("listening", file=sys.stderr, flush=True)
    told = {"Hello": heard(listener, "Hello")}
    asker = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    asker.settimeout(PATIENCE)
    asker.sendto(RESOLVE.format(told["Hello"]["endpoint"]).encode(), GROUP)
    told["ResolveMatch"] = heard(asker, "ResolveMatch")
    told["Bye"] = heard(listener, "Bye")
    print(json.dumps(told), flush=True)


if __name__ == "__main__":
    main()
