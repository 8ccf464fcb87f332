"""similar: clusters against the pairs that they are made of, contacts that are not the same, Ctrl-C."""

from __future__ import annotations

import itertools
import json
import random
import unittest

from support import COMPANY, FILE_AS, FIRST, LAST, MODIFIED, HostTest, contact, folder, mailbox

NICKNAME, MOBILE, HOME_PHONE = "3A4F001F", "3A1C001F", "3A09001F"
# Values of the types that a contact may hold beside its texts; none is compared.
OTHERS = [("66000002", 1), ("66010003", 2), ("66020004", 1.5), ("66030005", 2.5), ("66040006", 3), ("66050007", 1.5), ("66060014", 7),
          ("66070040", "2024-03-04T09:00:00Z"), ("66080048", "{00062002-0000-0000-C000-000000000046}"), ("6609001E", "ANSI"), ("660A0102", "AAAA"),
          ("660B1003", [1, 2]), ("660C101F", ["a", "b"]), ("660D101E", ["a"]), ("660E1102", ["AAAA"]), ("660F1040", ["2024-03-04T09:00:00Z"])]


def people(seed: int, count: int) -> list[dict]:
    """A book in which few values are shared by many, so that there are chains, and values that say nothing."""
    chance = random.Random(seed)
    items = []
    for number in range(count):
        properties = {
            COMPANY: f"Firm {chance.randrange(12):03} {chance.randrange(12):03}",
            NICKNAME: chance.choice(["", "", f"nick{chance.randrange(8)}{chance.randrange(8)}"]),
            MOBILE: chance.choice(["", "n/a", f"555 {chance.randrange(10, 40)}{chance.randrange(100, 999)}0{chance.randrange(10)}"]),
            HOME_PHONE: chance.choice(["", f"{chance.randrange(30):02}{chance.randrange(30):02}777"]),
        }
        last = chance.choice(["", *(f"{letter * 3}{chance.randrange(30):02}xyz" for letter in "ABCDEF")])
        items.append(contact(number, last, chance.choice(["", f"Given{chance.randrange(20):02}", "Ann"]),
                             properties={tag: text for tag, text in properties.items() if text}))
    return items


def with_copies(items: list[dict], count: int, seed: int) -> list[dict]:
    """Some contacts again and again: told apart by what says nothing, or by one value that does."""
    chance = random.Random(seed)
    copies = []
    for number in range(len(items), count):
        properties = chance.choice(items)["properties"] | {FILE_AS: f"Copy {number}", MODIFIED: f"2024-03-04T09:00:{number % 60:02}Z"}
        if chance.randrange(3) == 0:
            properties[chance.choice([FIRST, LAST, COMPANY, MOBILE, NICKNAME])] = f"{number:05}"
        elif chance.randrange(2) == 0:
            key, value = chance.choice(OTHERS)
            properties[key] = value
        copies.append({"id": f"{0xD1000000 + number:016X}", "properties": properties})
    return items + copies


def content(item: dict) -> str:
    """What is compared of it."""
    return json.dumps({tag: value for tag, value in item["properties"].items() if tag not in (FILE_AS, MODIFIED)}, sort_keys=True)


class Similar(HostTest):
    def report(self, *arguments: str) -> dict:
        return json.loads(self.run_program("similar", "--format", "json", *arguments, status=1))

    def pairs(self, *arguments: str) -> dict[frozenset[str], tuple[str, str]]:
        """Verdict and fields by the two identifiers."""
        return {frozenset((pair["a"]["entryId"], pair["b"]["entryId"])): (pair["verdict"], pair["fields"])
                for pair in self.report("--pairs", *arguments)["pairs"]}

    def test_clusters_are_what_the_pairs_say(self) -> None:
        parted = 0
        books = [people(seed, 160) for seed in range(2)] + [with_copies(people(2, 40), 160, 2), with_copies(people(3, 5), 60, 3)]
        for seed, items in enumerate(books):
            self.write(mailbox(folder(1, "People", "IPF.Contact", items)))
            kind = {item["id"]: content(item) for item in items}
            pairs, report = self.pairs(), self.report()
            self.assertEqual([report["summary"]["strict"], report["summary"]["similar"]],
                             [sum(verdict == which for verdict, _ in pairs.values()) for which in ("strict", "similar")], f"book {seed}")
            clusters = [[person["entryId"] for person in cluster["contacts"]] for cluster in report["clusters"]]
            cluster_of = {person: number for number, members in enumerate(clusters) for person in members}
            self.assertEqual(len(cluster_of), sum(map(len, clusters)), "nobody is in two clusters")
            strict = {pair for pair, (verdict, _) in pairs.items() if verdict == "strict"}
            said = {frozenset((kind[cut["a"]["entryId"]], kind[cut["b"]["entryId"]])): [person["entryId"] for person in cut["strangers"]]
                    for cluster in report["clusters"] for cut in cluster["parted"]}
            for pair in strict:
                a, b = pair
                if a in cluster_of and cluster_of[a] == cluster_of.get(b):
                    continue
                self.assertFalse(frozenset(said.get(frozenset((kind[a], kind[b])), (a, b))) in pairs, f"{a} and {b} are parted, and not because of strangers")
                parted += 1
            friends = {person: {other for pair in strict if person in pair for other in pair - {person}} for person in cluster_of}
            for number, members in enumerate(clusters):
                for a, b in itertools.combinations(members, 2):
                    self.assertTrue(frozenset((a, b)) in pairs or friends[a] & friends[b] & set(members), "strangers in one cluster")
                inside = sum(pair <= set(members) for pair in strict)
                self.assertEqual(report["clusters"][number]["pairs"], inside)
                most = max(person["filled"] for person in report["clusters"][number]["contacts"])
                self.assertEqual([person["filled"] for person in report["clusters"][number]["contacts"]
                                  if person["entryId"] == report["clusters"][number]["mostFilled"]["entryId"]], [most])
            lists = [*report["similar"], *(one for cluster in report["clusters"] for one in cluster["similar"])]
            expected: dict[tuple[str, str], list] = {}
            first: dict[tuple[str, str], str] = {}
            for pair, (verdict, fields) in pairs.items():
                a, b = sorted(pair)  # the earlier one has the lower identifier
                if verdict == "similar":
                    one = expected.setdefault((fields, first.setdefault((fields, b), a)), [set(), 0])
                    one[0].add(b)
                    one[1] += 1
            listed = {(one["fields"], people[0]): [set(people[1:]), one["pairs"]]
                      for one in lists for people in [[person["entryId"] for person in one["contacts"]]]}
            within = {key: one for key, one in expected.items()
                      if len({cluster_of.get(person, person) for person in one[0] | {key[1]}}) == 1}
            self.assertEqual(listed, {key: one for key, one in expected.items() if key not in within}, "the lists")
            self.assertEqual(len(listed), len(lists), "each list once")
        self.assertGreater(parted, 0, "something was parted")

    def test_a_chain_is_parted_at_its_weakest_pairs(self) -> None:
        """Neighbours in a chain agree by firm and telephone, or, which is weaker, by a name with a letter missing."""
        def firm(number: int) -> dict[str, str]:
            return {COMPANY: f"{'Quay Dock Pier'.split()[number]} Works {number * 7}", HOME_PHONE: f"555 {number + 1}{number + 4}{number + 7} 0{number}1{number}"}

        nora, nor_a, ines, ine_s = ("Quistberg", "Nora"), ("Quistber", "Nora"), ("Okaforum", "Ines"), ("Okaforu", "Ines")
        chain = [(firm(0), ("", "")), (firm(0), nora), (firm(1), nor_a), (firm(1), ines), (firm(2), ine_s), (firm(2), ("", ""))]
        strong, weak = "Company, Home Phone", "First Name, Last Name"
        cases = (
            (chain[:3], [([0, 1, 2], strong)]),  # the third is strict to both
            (chain[:2] + [(firm(1), nor_a), (firm(1), ("", ""))], [([0, 1], strong), ([2, 3], strong)]),
            (chain, [([0, 1], strong), ([2, 3], strong), ([4, 5], strong)]),
            (chain[1:3], [([0, 1], weak)]),
        )
        for people_of, expected in cases:
            with self.subTest(count=len(people_of)):
                items = [contact(n, *names, properties=properties) for n, (properties, names) in enumerate(people_of)]
                for item in items:
                    item["properties"] = {tag: text for tag, text in item["properties"].items() if text}
                self.write(mailbox(folder(1, "People", "IPF.Contact", items)))
                clusters = self.report()["clusters"]
                numbers = {item["id"]: n for n, item in enumerate(items)}
                self.assertEqual([(sorted(numbers[person["entryId"]] for person in one["contacts"]), one["fields"]) for one in clusters], expected)
                html = self.run_program("similar", "--format", "html", status=1)
                self.assertEqual((html.count('id="cluster'), html.count("<p>Parted from ")), (len(expected), sum(len(one["parted"]) for one in clusters)))

    def test_a_firm_is_named_once(self) -> None:
        self.write(mailbox(folder(1, "People", "IPF.Contact", [contact(n, f"{chr(65 + n % 26)}{n}x{n * n}", f"P{n}") for n in range(40)])))
        text = self.run_program("similar", status=1)
        self.assertEqual(text.count("Company"), 1, text)
        self.assertIn("similar  40 contacts by Company: ", text)
        html = self.run_program("similar", "--format", "html", status=1)
        self.assertEqual(html.count("Company"), 1, "named once")

    def test_contacts_that_are_not_the_same(self) -> None:
        same = {COMPANY: "Quay Ltd"}
        self.write(mailbox(folder(1, "People", "IPF.Contact", [contact(n, "Hale", "Jonas", properties=same) for n in range(3)])))
        (cluster,) = self.report()["clusters"]
        self.assertEqual([row["values"] for row in cluster["values"] if "Hale" in row["values"]], [["Hale"] * 3], "values side by side")
        ids = [person["entryId"] for person in cluster["contacts"]]
        cases = (
            (cluster["notSame"], set()),
            (f"\ufeff# two brothers\r\n{ids[0]} <> People#2\r\n\r\n", {(0, 2), (1, 2)}),
            (f"{ids[0]}<>{ids[1]}<>0000000000000000", {(0, 2), (1, 2)}),
        )
        for content, expected in cases:
            with self.subTest(content=content):
                (self.dir / "apart").write_text(content, encoding="utf-8", newline="")
                out = self.run_program("similar", "--pairs", "--format", "json", "--not-same", "apart", status=1 if expected else 0)
                found = {(ids.index(pair["a"]["entryId"]), ids.index(pair["b"]["entryId"])) for pair in json.loads(out)["pairs"]}
                self.assertEqual(found, expected)
                for one in json.loads(self.run_program("similar", "--format", "json", "--not-same", "apart",
                                                       status=1 if expected else 0))["clusters"]:
                    members = {ids.index(person["entryId"]) for person in one["contacts"]}
                    self.assertFalse({0, 1} <= members, "said to be two people")
        for content, because in ((f"{ids[0]}\n", "Line 1"), (f"#\n{ids[0]} <>\n", "Line 2"), (f"a#1 <> {ids[0]}", "")):
            (self.dir / "apart").write_text(content)
            self.run_program("similar", "--not-same", "apart", status=2 if because else 1)
            self.assertIn(because, self.err)
        self.write(mailbox(*(folder(n, name, "IPF.Contact", [contact(n, "Hale", "Jonas")], [folder(8, "People", "IPF.Contact", [contact(8, "Hale", "Jonas")])] * n)
                             for n, name in enumerate(("People", "Old")))))
        (self.dir / "apart").write_text("People#1 <> Old#1")
        self.assert_refused("similar", "--not-same", "apart", because="which several contacts are; give the whole path")
        self.run_program("similar", "--not-same", "missing", status=2)
        self.assert_refused("similar", "--not-same", "apart", "--output", "apart", "--force", because="read here")


if __name__ == "__main__":
    unittest.main()
