"""The guard: which calls it refuses, in this process, and how it answers, as Claude Code runs it."""

import json
import os
import subprocess
import sys
import tempfile
import unittest
from unittest import mock

FOLDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "resources", "Guard")
HOOK = os.path.join(FOLDER, "protected_paths_hook.py")
sys.dont_write_bytecode = True
sys.path.insert(0, FOLDER)

import protected_paths_hook  # noqa: E402
import shell_guard  # noqa: E402

# Commands in {home}/project, under {home}/Documents, {home}/Library/Mobile and /Volumes as protected folders.
REFUSED = r"""
ls ~/Documents
ls ~/Documents/
ls -la ~/Documents/.
cat ~/../{user}/Documents/taxes/a
cat ~+/../Documents/taxes/a
cat "$HOME/Documents/taxes/a b"
cat ${{HOME}}/Documents/a
cat "${{HOME:-/root}}"/Documents/a
cat ${{MISSING:-$HOME/Documents}}/a
cat $HOME//Documents///a
cat //Volumes/x
cat '{home}/Documents/taxes/a'
cat "{home}"'/Docu'ments/$'taxes/\x61'
cat $'{home}/Doc\165ments/a'
cat {home}/Doc\uments/a
cat {home}/Documents\ /../Documents/a
cat ../Documents/taxes/a
cat ./../Documents/*.pdf
cat src/../../Documents/a
cat link/a
cat file_link
cat dangling
cat home_link/Documents/a
cat /proc/self/root{home}/Documents/a
echo x>/Volumes/log
echo x >~/Documents/x
make 2> ~/Documents/x
make &>/Volumes/log
make >& /Volumes/log
sort < ~/Documents/x
cat 3<>~/Documents/x
cat <<EOF > ~/Documents/x{nl}body{nl}EOF
ls src; cat ~/Documents/x
ls src && cat ~/Documents/x
ls nowhere || cat ~/Documents/x
ls src | tee ~/Documents/x
ls src & cat ~/Documents/x
ls src{nl}cat ~/Documents/x
ls \{nl}~/Documents
(ls; cat ~/Documents/x)
{{ cat ~/Documents/x; }}
if true; then cat ~/Documents/x; fi
f() {{ cat ~/Documents/x; }}; f
case x in a) cat ~/Documents/x;; esac
echo $(cat ~/Documents/x)
echo "$(cat "$HOME/Documents/x")"
echo `cat ~/Documents/x`
echo "`cat \`echo ~/Documents/x\``"
cat $(echo ~)/Documents/x
cat $(echo ~/Documents/x)
echo "$(cat <<'EOF'{nl}it's (fine){nl}EOF{nl})"; cat ~/Documents/x
diff <(cat ~/Documents/x) src/y
tee >(cat > ~/Documents/x)
cat <<EOF{nl}$(cat ~/Documents/x){nl}EOF
cat <<A <<B; cat ~/Documents/x{nl}it's{nl}A{nl}(b{nl}B
cat <<-EOF{nl}	it's{nl}	EOF{nl}cat ~/Documents/x
echo $((1<<2)){nl}cat ~/Documents/x
# it's a comment{nl}cat ~/Documents/x
cd ~/Documents && cat x
cd ~/Documents; cat x
cd link && ls
cd .. && ls Documents
cd && ls Documents
cd src && cd - && cat ../Documents/x
cd ..; (cd project); cat Documents/x
pushd ..; cat Documents/x
cat --file=/Volumes/x
cat --file=~/Documents/x
cc -I/Volumes/x y.c
curl -d @/Volumes/x localhost
curl file://{home}/Documents/x
dd if=~/Documents/x
docker run -v ~/Documents:/data image
docker run --mount type=bind,source={home}/Documents,target=/d image
FILE=/Volumes/x make
PATH=/bin:/Volumes/bin make
D=~/Documents; ls
D=$HOME; cat $D/Documents/x
export D="$HOME"{nl}cat "$D"/Documents/x
F="src/a ~ $HOME/Documents/x"; cat $F
for f in ~/Documents/*; do cat "$f"; done
for d in Music Documents; do ls ~/$d; done
for d in Music Documents; do ls "$HOME/$d/x"; done
for d in Documents; do p="$HOME/$d"; ls "$p"; done
sh -c 'cat ~/Documents/x'
bash -lc "cd ~ && cat Documents/x"
find src -exec sh -c 'cat ~/Documents/$1' _ {{}} \;
timeout 5 bash -c 'ls ~/Documents'
eval 'cat ~/Documents/x'
bash <<EOF{nl}cat ~/Documents/x{nl}EOF
bash <<< 'cat ~/Documents/x'
echo 'cat ~/Documents/x' | sh
sh -c "sh -c 'cat ~/Documents/x'"
python3 -c "open('/Volumes/x')"
python3 -c 'import os; os.listdir(os.path.expanduser("~/Documents"))'
python3.11 - <<EOF{nl}open("{home}/Documents/x"){nl}EOF
node -e 'fs.readFileSync("/Volumes/x")'
awk 'BEGIN {{ getline x < "/Volumes/x" }}'
echo ~/Documents/x | xargs cat
xargs cat ~/Documents/x
ls ~/Doc*
ls {home}/[D]ocuments
ls ~/[[:upper:]]ocuments/x
ls ~/?ocuments/x
ls ~/"Doc"*/taxes
ls ~/*
ls ~/**/x
ls ../D*
ls ../src/../D*/x
ls src/*/../../../Documents
echo ~/Documents/*
ls ~/{{src,Documents}}/x
ls {{~,/x}}/Documents
ls ~/{{a,Doc{{s,uments}}}}
find ~ -name '*.pdf'
find ~ -maxdepth 3 -type f
find / -name x
find $HOME
cd ~ && find . -name x
cd ~; find -name x
grep -r x ~
grep -rn x ~/ src
grep --recursive x ..
cd ~ && grep -r x
rg x ~
ls -R ~
ls -lR ~/
tree ~
du -sh ~
tar cf x.tar ~
tar -C ~ -cf x.tar Documents
tar -C ~ -cf x.tar .
cp -r ~ x
rsync -a ~/ x
chmod -R u+w ~
rm -rf ~
nice -n 5 find ~
ls ~/Library/Mobile/x
find ~/Library
git -C ~/Documents status
cat x ~/Documents/a 'never closed
cat ~/Documents/a $(
~/Documents/tool --version
[ -f ~/Documents/x ]
ln -s ~/Documents here
command cd ~ && ls Documents
diff -r ~ src
trap 'rm ~/Documents/x' EXIT
watch -n 5 'ls ~/Documents'
flock lock -c 'ls ~/Documents'
curl -d@/Volumes/x localhost
node --eval='fs.readFileSync("/Volumes/x")'
perl -ne'open F, "/Volumes/x"' a
python3 tool.py --input ~/Documents/x
git grep x -- ~/Documents
find src -exec cp {{}} ~/Documents +
[ -d "$HOME/Documents" ]
ssh -i ~/Documents/key host ls
ssh host cat < ~/Documents/x
docker cp ~/Documents/x box:/x
""".strip().splitlines()

ALLOWED = r"""
ls
ls ~
ls -la ~/
cd ~ && ls
find ~ -maxdepth 1 -name 'x*'
tree -L 1 ~
ls ~/DocumentsOld ~/project/Documents
ls ~/Documents/../project
cat link/../project/src/main.c
ls -R src ~/project
find . -name '*.py' -not -path '/Volumes/*'
grep -rn Documents src
grep -rn "/Volumes" src
grep -rn -A 3 -e '/Volumes/x' src
rg -n '/Volumes' .
sed -n '/Volumes/p' src/main.c
sed -i -e 's,~/Documents,/tmp,' src/main.c
awk '/Volumes/ {{ print $1 }}' src/main.c
awk -F: '/Volumes/' src/main.c
perl -ne 'print if /Volumes/' src/main.c
git commit -m "see /Volumes/x for more"
git commit -m "/Volumes is refused now"
git commit -m "$(cat <<'EOF'{nl}Don't read ~/Documents (or /Volumes/x){nl}EOF{nl})"
git log --grep=/Volumes
echo "/Volumes/x is refused"
echo ~/Documents
printf '%s\n' "/Volumes" >> notes.md
cat > notes.md <<'EOF'{nl}Never read ~/Documents or /Volumes/x.{nl}EOF
cat <<EOF{nl}/Volumes/x $HOME/Documents{nl}EOF
cat "~/Documents/x"
cat '$HOME/Documents/x'
cat \~/Documents/x
cat '~'/Documents/x
cat ~nobody-of-this-name/Documents/x
cat $MISSING/Volumes/x
cat "$(git rev-parse --show-toplevel)/Volumes/x"
cat ${{PWD%/*}}/Documents/x
mkdir -p out && cd out && cat ../Documents/x
cd "$(mktemp -d)" && find . && cat ../Documents/x
(cd ..); cat Documents/x
curl https://example.org/Volumes/x?next=/Volumes/y
scp host:/Volumes/x .
ls src # not ~/Documents
echo 'a b
ls "~/Doc*" '/Vol*/x' ~/\*
ls *.c src/**/*.h [a-z]*
ls {{a,b}}/Documents
cp -r src ~
cp -r -t ~ src
docker exec box sh -c 'cat /Volumes/x'
tar -xf x.tar -C ~
rm -rf build ~/project/out
make -j4 -C src 2>&1 | tail -5
[[ $a == b ]] && echo $((1 < 2))
for i in 1 2 3; do echo $i; done
case "$1" in /Volumes/*) echo no;; esac
python3 -c "print('Documents')"
python3 tests/volumes_test.py --name Volumes
docker run -v "$PWD":/Volumes/data image
ls ~/Library
git grep -n "/Volumes" -- src
git log -S'/Volumes/x'
gh pr comment 1 -b '/Volumes/x is wrong'
jj describe -m "/Volumes"
find src -name '*.c' -exec grep -l '/Volumes' {{}} +
[ "$x" = "/Volumes/x" ]
[[ "$x" == /Volumes/* ]]
tree -I /Volumes
rsync -a --exclude /Volumes src out
python3 tool.py --note "see /Volumes/x"
ssh -p 22 host ls /Volumes
docker exec box ls /Volumes
kubectl exec pod -- ls /Volumes
""".strip().splitlines()


class GuardTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.home = os.path.realpath(folder.name)
        self.project = os.path.join(self.home, "project")
        self.closed = os.path.join(self.home, "Documents")
        self.roots = f"{self.closed}:{self.home}/Library/Mobile:/Volumes"
        for name in ("project/src", "Documents/taxes", "Library/Mobile", "DocumentsOld"):
            os.makedirs(os.path.join(self.home, name))
        for name, target in [
            ("link", self.closed),
            ("file_link", "../Documents/taxes/a"),
            ("dangling", self.closed + "/new"),
            ("home_link", self.home),
        ]:
            os.symlink(target, os.path.join(self.project, name))

    def environment(self, roots=None, **more):
        environment = {"PATH": os.environ["PATH"], "HOME": self.home, **more}
        environment["KEELHAVEN_PROTECTED_ROOTS"] = self.roots if roots is None else roots
        return environment

    def refusal(self, tool, fields, cwd=None, **more):
        event = {"tool_name": tool, "tool_input": fields, "cwd": cwd or self.project}
        with mock.patch.dict(os.environ, self.environment(**more), clear=True):
            return protected_paths_hook.refusal(event)

    def touches(self, line):
        """Whether the command touches a folder; a fault of the reader's own shows, which the hook would get over."""
        command = line.format(home=self.home, user=os.path.basename(self.home), nl="\n")
        with mock.patch.dict(os.environ, self.environment(), clear=True):
            try:
                shell_guard.check(protected_paths_hook.Roots(self.roots.split(":")), command, self.project)
            except protected_paths_hook.Refused:
                return True
        return False

    def run_hook(self, event, roots=None, script=HOOK):
        data = event if isinstance(event, bytes) else json.dumps(event).encode()
        return subprocess.run(
            [sys.executable, script], input=data, env=self.environment(roots), capture_output=True, check=False
        )

    def test_refused_commands(self):
        for line in REFUSED:
            with self.subTest(line):
                self.assertTrue(self.touches(line))

    def test_allowed_commands(self):
        for line in ALLOWED:
            with self.subTest(line):
                self.assertFalse(self.touches(line))

    def test_file_tools(self):
        for tool, fields, refused in [
            ("Read", {"file_path": f"{self.closed}/taxes/a"}, True),
            ("Read", {"file_path": self.closed}, True),
            ("Read", {"file_path": f"{self.closed}/ü\ud800"}, True),
            ("Read", {"file_path": f"{self.closed}/a\0b"}, True),
            ("Read", {"file_path": f"{self.closed}/{'a/' * 100_000}"}, True),
            ("Read", {"file_path": f"{self.home}/project/../Documents/a"}, True),
            ("Read", {"file_path": "file_link"}, True),
            ("Read", {"file_path": f"{self.closed}Old/a"}, False),
            ("Read", {"file_path": "src/main.py"}, False),
            ("Read", {"file_path": self.home}, False),
            ("Write", {"file_path": "../Documents/new", "content": "x"}, True),
            ("Write", {"file_path": "dangling"}, True),
            ("Write", {"file_path": "notes.md", "content": f"{self.closed}/a"}, False),
            ("Edit", {"file_path": "~/Documents/a"}, True),
            ("Edit", {"file_path": "src/a", "old_string": "/Volumes/x", "new_string": "~/Documents"}, False),
            ("MultiEdit", {"file_path": "link/a"}, True),
            ("NotebookEdit", {"notebook_path": "/Volumes/x.ipynb"}, True),
            ("Glob", {"pattern": f"{self.closed}/**/*.pdf"}, True),
            ("Glob", {"pattern": "~/**/*.pdf"}, True),
            ("Glob", {"pattern": "*.pdf", "path": self.home}, True),
            ("Glob", {"pattern": "link/*"}, True),
            ("Glob", {"pattern": "**/*.py"}, False),
            ("Glob", {"pattern": f"{self.project}/**/*.{{c,h}}"}, False),
            ("Glob", {"pattern": "taxes/*", "path": self.closed}, True),
            ("Grep", {"pattern": f"{self.closed}/x", "path": "."}, False),
            ("Grep", {"pattern": "x", "path": "~/Documents"}, True),
            ("Grep", {"pattern": "x", "path": "home_link"}, True),
            ("Grep", {"pattern": "x", "glob": "../Documents/*"}, True),
            ("Grep", {"pattern": "x", "glob": "!Documents/**"}, False),
            ("WebFetch", {"url": f"file://{self.closed}"}, False),
        ]:
            with self.subTest(tool=tool, fields=str(fields)[:80]):
                self.assertEqual(self.refusal(tool, fields) is not None, refused)

    def test_names_with_a_colon(self):
        odd = os.path.join(self.home, "a:b", "Documents")
        os.makedirs(odd)
        roots = {"roots": f"{odd}:/Volumes", "KEELHAVEN_PROTECTED_ROOTS_JSON": json.dumps([odd, "/Volumes"])}
        for path, refused in [(f"{odd}/x", True), ("/Volumes/x", True), (f"{self.home}/a/x", False)]:
            with self.subTest(path):
                self.assertEqual(self.refusal("Read", {"file_path": path}, **roots) is not None, refused)

    def test_where_the_session_stands(self):
        for command, cwd, refused in [
            ("ls", self.closed, True),
            ("pwd; cd ../project && ls", self.closed, False),
            ("cat x", f"{self.project}/link", True),
            ("cat Documents/x", self.home, True),
            ("cat Documents/x", self.project, False),
            ("make test", self.home, False),
            ("ls", f"{self.home}/gone", False),
        ]:
            with self.subTest(command, cwd=cwd):
                self.assertEqual(self.refusal("Bash", {"command": command}, cwd=cwd) is not None, refused)
        self.assertIsNotNone(self.refusal("Grep", {"pattern": "x"}, cwd=self.home))
        self.assertIsNone(self.refusal("Glob", {"pattern": "src/*"}, cwd=self.home))

    def test_a_folder_that_is_not_there_is_on_no_way(self):
        os.rmdir(f"{self.closed}/taxes")
        os.rmdir(self.closed)
        os.rmdir(f"{self.home}/Library/Mobile")
        self.assertIsNone(self.refusal("Bash", {"command": "find ~ -name x; ls ~/D*"}))
        self.assertIsNotNone(self.refusal("Write", {"file_path": f"{self.closed}/a"}), "it must not be made either")

    def test_a_root_that_is_a_link_keeps_both_its_names(self):
        os.symlink(f"{self.home}/DocumentsOld", f"{self.home}/Papers")
        for path in ("~/Papers/a", "~/DocumentsOld/a"):
            self.assertIsNotNone(self.refusal("Read", {"file_path": path}, roots=f"{self.home}/Papers"))

    def test_a_project_behind_a_link_opens_its_folder(self):
        fields, project = {"command": "cat a; make"}, f"{self.project}/link"
        self.assertIsNotNone(self.refusal("Bash", fields, cwd=project))
        self.assertIsNone(self.refusal("Bash", fields, cwd=project, CLAUDE_PROJECT_DIR=project))
        self.assertIsNotNone(self.refusal("Read", {"file_path": "/Volumes/x"}, CLAUDE_PROJECT_DIR=project))

    def test_long_and_odd_commands(self):
        tail = "; cat ~/Documents/x"
        for name, command in {
            "words": "echo " + "x/y " * 20_000 + tail,
            "one word": "cat " + "x" * 100_000 + tail,
            "deep path": "cat " + "a/" * 60_000 + tail,
            "pieces": "cat " + "=/x,/y:/z" * 10_000 + tail,
            "braces": "echo " + "{a,b}" * 30 + tail,
            "open braces": "cat " + "{" * 50_000 + tail,
            "parentheses": "(" * 50_000 + tail,
            "substitutions": "$(" * 50_000 + tail,
            "parameters": "${a:-" * 20_000 + tail,
            "here-documents": "cat " + "<<A " * 3_000 + "\n" + "A\n" * 3_000 + tail,
            "too long": "cat " + "a " * 300_000 + tail,
            "surrogates": "cat \ud800 ~\ud800/x ü\u0301 \U0001f6a2" + tail,
            "control characters": "cat \x00\x01\x7f \r\n\v" + tail,
        }.items():
            with self.subTest(name):
                self.assertIsNotNone(self.refusal("Bash", {"command": command}))
                self.assertIsNone(self.refusal("Bash", {"command": command.replace("~/Documents", "~/project")}))

    def test_says_why(self):
        for fields, tool, words in [
            ({"file_path": "/Volumes/x"}, "Read", b"/Volumes/x lies in /Volumes"),
            ({"command": "find ~"}, "Bash", f"from {self.home} this would walk through {self.closed}".encode()),
        ]:
            result = self.run_hook({"tool_name": tool, "tool_input": fields, "cwd": self.project})
            self.assertEqual(result.returncode, 2)
            self.assertIn(words, result.stderr)
            self.assertEqual(result.stdout, b"")

    def test_fails_open(self):
        fields = {"file_path": f"{self.closed}/a"}
        call = {"tool_name": "Read", "tool_input": fields, "cwd": self.project}
        for event, roots in [
            (b"", None),
            (b"[1]", None),
            (b"{", None),
            (b"\xff\xfe{}", None),
            (b"[" * 100_000, None),
            ({**call, "tool_input": "x"}, None),
            ({**call, "tool_input": {"file_path": 7}}, None),
            ({**call, "tool_name": ["Read"]}, None),
            ({"tool_input": fields}, None),
            ({**call, "tool_name": "Bash", "tool_input": {"command": ["ls", self.closed]}}, None),
            (call, ""),
            (call, ":::/:relative"),
        ]:
            result = self.run_hook(event, roots)
            self.assertEqual((result.returncode, result.stderr), (0, b""), event)
        for cwd in (None, 7, "relative", "/gone"):
            self.assertEqual(self.run_hook({**call, "cwd": cwd}).returncode, 2, cwd)

    def test_alone_it_still_reads_the_text(self):
        copy = os.path.join(self.home, "hook.py")
        with open(HOOK, encoding="utf-8") as file, open(copy, "w", encoding="utf-8") as other:
            other.write(file.read())
        for command, status in [("cat ~/Documents/x", 2), ("ls src", 0)]:
            result = self.run_hook({"tool_name": "Bash", "tool_input": {"command": command}}, script=copy)
            self.assertEqual(result.returncode, status, command)


if __name__ == "__main__":
    unittest.main()
