#!/usr/bin/env bash
# Checks what a shared library of the project exports (nm -DC --defined-only):
# every symbol must belong to the library's own namespaces (or be the type
# information of a third-party exception the API lets through), and every
# symbol of the list of required ones must be there.
#
# Usage: scripts/check_symbols.sh LIBRARY lxbase|lxscan
set -euo pipefail

library=$1
kind=$2
symbols=$(nm -DC --defined-only "$library" | awk '{ $1 = ""; $2 = ""; sub(/^ +/, ""); print }')

case "$kind" in
lxbase)
    allowed='^(lxbase|lxmath)::|^(typeinfo|typeinfo name|vtable) for (lxbase|lxmath)::|^bool lxbase::operator<|^(typeinfo|typeinfo name) for (utf8|boost)::'
    required=(
        'lxbase::Encode_UTF8(' 'lxbase::Decode_UTF8(' 'lxbase::ConvertString('
        'lxbase::OutMemoryStream::Write(' 'lxbase::InMemoryStream::Read(' 'lxbase::IOHeader::Read('
        'lxbase::IOHeader::Write(' 'lxbase::lxInFile::Open(' 'lxbase::lxOutFile::Write('
        'lxbase::LargeIfstream::Getline(' 'lxbase::tBaseXYZPoint<double>::operator<('
        'lxbase::tBaseXYZPoint<float>::operator<(' 'lxbase::SortZOrder(' 'lxbase::ZOrderPermutation('
        'lxmath::Frame::Frame(' 'lxmath::Frame::PropagatePoints(' 'lxmath::Frame::BackPropagatePoints('
        'lxbase::t_RGBType<unsigned char>::GetColor(' 'bool lxbase::operator< <unsigned char>('
        'lxbase::HSLType::HSLType(' 'lxbase::HNormalRGB::SetNormal(' 'lxbase::HNormalRGB::GetNormal('
        'lxbase::UUID::Generate(' 'lxbase::Date::Date(' 'lxbase::ComponentToString'
        'lxbase::StringToComponent('
        'vtable for lxbase::IOHeader' 'typeinfo for lxbase::IInFileStream' 'typeinfo for lxbase::LXException'
        'typeinfo for utf8::invalid_utf8' 'typeinfo for utf8::invalid_utf16'
        'typeinfo for utf8::invalid_code_point' 'typeinfo for utf8::not_enough_room'
        'typeinfo for boost::gregorian::bad_year' 'typeinfo for boost::bad_lexical_cast'
    )
    ;;
lxscan)
    allowed='^lxscan::|^(typeinfo|typeinfo name|vtable) for lxscan::'
    required=('lxscan::ScanWriter::' 'lxscan::ScanReader::' 'lxscan::Convert(' 'typeinfo for lxscan::ScanError')
    ;;
*)
    echo "usage: $0 LIBRARY lxbase|lxscan" >&2
    exit 2
    ;;
esac

status=0
foreign=$(grep -vE "$allowed" <<< "$symbols" || true)
if [ -n "$foreign" ]; then
    echo "$library exports symbols that are not its own:" >&2
    sed 's/^/  /' <<< "$foreign" | head -n 40 >&2
    status=1
fi
for name in "${required[@]}"; do
    if ! grep -qF -- "$name" <<< "$symbols"; then
        echo "$library does not export $name" >&2
        status=1
    fi
done
[ "$status" -eq 0 ] && echo "$library: $(wc -l <<< "$symbols") symbols, all its own, none missing"
exit "$status"
