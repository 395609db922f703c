"""Whether every proxy does over TLS what makes the rows comparable, as the provider counts it."""

import http.client
import json

from load import Certificate, answered, ask, client_of, serving_provider
from proxies import PROXIES

KEPT, RESUMED = 20, 5
COLUMNS = (f"connections for {KEPT} requests", f"resumed of {RESUMED} later connections",
           "refuses an issuer it does not know", "refuses another name's certificate")


def keeping_and_resuming(kind, folder, certificate):
    with serving_provider(certificate) as provider, kind(folder, provider) as proxy, client_of(proxy.port) as client:
        for _ in range(KEPT):
            answered(client)
        kept = json.loads(answered(client, "/v1/counts"))
        for _ in range(RESUMED):
            answered(client, "/v1/once")
        return kept["connections"], json.loads(answered(client, "/v1/counts"))["resumed"]


def refuses(kind, folder, shown, trusted):
    with serving_provider(shown) as provider:
        provider.roots = trusted.roots
        with kind(folder, provider) as proxy, client_of(proxy.port) as client:
            try:
                return "yes" if ask(client)[0] >= 500 else "no"
            except http.client.RemoteDisconnected:
                return "yes"


def check_setup(folder, certificate):
    """A row for each proxy: its name and the columns."""
    stranger = Certificate(folder, file="stranger")
    namesake = Certificate(folder, name="elsewhere.test", file="namesake")
    rows = []
    for kind in PROXIES:
        connections, resumed = keeping_and_resuming(kind, folder, certificate)
        rows.append((kind.name, connections, resumed, refuses(kind, folder, stranger, certificate),
                     refuses(kind, folder, namesake, namesake)))
        print("  " + " | ".join(map(str, rows[-1])), flush=True)
    return rows
