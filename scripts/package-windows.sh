#!/usr/bin/env bash
# scripts/package-windows.sh OUTPUT-FOLDER: what is handed out for Windows: the installer for both
# bitnesses, an MSI for each, and a ZIP of the same files. Builds component and command, and installs
# what is missing on a bare Debian 12. The manifests for winget, which name the installer's
# hash, take the address it will have from MVSMS_DOWNLOADS.
#
# With MVSMS_SIGN_CERTIFICATE and MVSMS_SIGN_KEY (see scripts/sign.sh) everything is signed. Unsigned,
# the same commit gives the same bytes, under the same SOURCE_DATE_EPOCH when one is set.
set -euo pipefail
[ $# -eq 1 ] || { sed -n '2,/^set/s/^# \{0,1\}//p' "$0" >&2; exit 2; }
mkdir -p "$1"
output=$(realpath "$1")
cd "$(dirname "$0")/.."
. scripts/packages.sh
install_missing "${build_packages[@]}" "${windows_packages[@]}" "${windows_package_packages[@]}"

SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log --max-count=1 --format=%ct 2>/dev/null || echo 0)}
export SOURCE_DATE_EPOCH LC_ALL=C.UTF-8 TZ=UTC
version=$(sed -n 's/^project(mvsms VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
here=packaging/windows
work=build/package-windows
files=$work/files  # a folder for each section of the installer that has files

build() {
  local bits
  for bits in x64 x86; do
    cmake --preset windows-$bits >/dev/null
    cmake --build --preset windows-$bits --target mvSMS mvsms
  done
}

# Signs files, when there is something to sign with.
sign() {
  [ -z "${MVSMS_SIGN_CERTIFICATE:-}" ] || scripts/sign.sh "$@"
}

text_file() { sed 's/\r*$/\r/' "$1" >"$2"; }  # as the oldest editors of Windows want it

collect_component() {
  local bits
  mkdir -p "$files"/component/{x64,x86,catalogue}
  for bits in x64 x86; do
    cp build/windows-$bits/bin/{mvSMS.dll,mvsms.exe} "$files/component/$bits/"
    sign "$files/component/$bits"/mv*
    cp resources/smstransports.inf "$files/component/$bits/"
  done
  cp resources/smstransports.inf "$files/component/catalogue/"
  text_file LICENSE "$files/component/LICENSE.txt"
}

collect_examples() {
  mkdir -p "$files/examples/examples"
  find examples -maxdepth 1 -type f ! -name '*.sh' -exec cp -t "$files/examples/examples" {} +
}

collect_guides() {
  mkdir -p "$files/guides/guides"
  if [ -x scripts/guides.sh ]; then
    scripts/guides.sh "$files/guides/guides"
  else
    cp -r docs/*guide*.md docs/images "$files/guides/guides/"
  fi
}

collect_tools() {
  local folder=$files/tools/administration
  mkdir -p "$folder"
  cp --recursive -t "$folder" $here/{MvSms,policies}
  text_file $here/settings.reg "$folder/settings.reg"
  python3 -B $here/manifests.py "$version" "$folder/manifests"
}

backslashes() { sed 's,/,\\,g'; }

# What the installer unpacks for a section, in an order that no file system decides.
unpack_macro() {  # SECTION
  echo "!macro Unpack_$1"
  (cd "$files/$1" && find . -type f -printf '%P\n') | LC_ALL=C sort | while read -r file; do
    printf '  SetOutPath "$INSTDIR\\incoming\\%s"\n' "$(dirname "$file" | backslashes)"
    printf '  File "${FILES}/%s"\n' "$1/$file"
  done
  echo '!macroend'
}

# An EachFile or EachFolder of the installer, out of names on the standard input.
each_macro() {  # NAME
  echo "!macro $1 DO WITH"
  backslashes | sed 's,.*,  !insertmacro ${DO} "${WITH}" "&",'
  echo '!macroend'
}

# Files and folders as the installer puts them in place, and removes them: the catalogue's copy last.
list_files() {
  local section names
  names=$(find "$files"/* -mindepth 1 -type f -printf '%P\n' | LC_ALL=C sort)
  {
    for section in component examples guides tools; do unpack_macro $section; done
    { grep --invert-match '^catalogue' <<<"$names"; grep '^catalogue' <<<"$names"; } | each_macro EachFile
    find "$files"/* -mindepth 1 -type d -printf '%P\n' | LC_ALL=C sort --reverse | each_macro EachFolder
  } >"$work/files.nsh"
}

make_installer() {
  local name=mvsms-$version-setup.exe options=()
  [ -z "${MVSMS_SIGN_CERTIFICATE:-}" ] || options=("-DSIGN=$PWD/scripts/sign.sh")
  makensis -V2 -WX -INPUTCHARSET UTF8 -DVERSION="$version" -DFILES="$PWD/$files" -DLISTS="$PWD/$work" \
    -DOUTPUT="$PWD/$work/$name" "${options[@]}" "$here/mvsms.nsi"
  sign "$work/$name"
  mv "$work/$name" "$output/"
}

make_msi() {  # BITS
  local contents=$work/msi-$1 name=mvsms-$version-$1.msi
  mkdir "$contents"
  cp --preserve=timestamps "$files/component/$1"/* "$files/component/LICENSE.txt" "$contents/"
  cp --recursive --preserve=timestamps "$files"/{examples,guides,tools}/* "$contents/"
  settle "$contents"
  # The tools write the time into the MSI.
  faketime -f "$(date --utc --date="@$SOURCE_DATE_EPOCH" '+%F %T')" \
    python3 -B $here/msi.py "$version" "$1" "$contents" "$work/$name"
  sign "$work/$name"
  mv "$work/$name" "$output/"
}

make_zip() {
  local name=mvsms-$version-windows
  rm -rf "${work:?}/$name" "$output/$name.zip"
  mkdir "$work/$name"
  cp --recursive --preserve=timestamps "$files"/*/* "$work/$name/"
  settle "$work/$name"
  (cd "$work" && find "$name" | LC_ALL=C sort | zip -X -q -@ "$output/$name.zip")
}

# For a pull request to the repository of winget.
make_winget() {
  local template hash
  hash=$(sha256sum "$output/mvsms-$version-setup.exe" | cut -c1-64 | tr a-f A-F)
  rm -rf "$output/winget"
  mkdir "$output/winget"
  for template in $here/winget/*.yaml; do
    sed -e "s,@VERSION@,$version,g" -e "s,@SHA256@,$hash,g" \
      -e "s,@DOWNLOADS@,${MVSMS_DOWNLOADS:-https://downloads.invalid/mvsms},g" "$template" \
      >"$output/winget/${template##*/}"
  done
}

# Times and rights that do not depend on who made the files when.
settle() {
  chmod --recursive u=rwX,go=rX "$1"
  find "$1" -exec touch --no-dereference --date="@$SOURCE_DATE_EPOCH" {} +
}

build
rm -rf "$work"
mkdir -p "$work"
collect_component
collect_examples
collect_guides
collect_tools
settle "$files"
list_files
python3 -B $here/draw_side.py "$work/side.bmp"
settle "$work/side.bmp"
make_installer
make_msi x64
make_msi x86
make_zip
make_winget
